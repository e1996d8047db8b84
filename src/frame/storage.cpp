#include "frame/storage.h"

#include <cerrno>

namespace rfs {

StorageCallbacks g_storage;

int storage_open(const char *path, int flags) {
    if (!g_storage.open) {
        errno = EBADF;
        return -1;
    }
    return g_storage.open(path, flags);
}

void storage_close(int fd) {
    if (g_storage.close) g_storage.close(fd);
}

int storage_read(int fd, void *buf, uint32_t len, uint64_t off) {
    if (!g_storage.read) {
        errno = EBADF;
        return -1;
    }
    return g_storage.read(fd, buf, len, int64_t(off));
}

int storage_write(int fd, const void *buf, uint32_t len, uint64_t off) {
    if (!g_storage.write) {
        errno = EBADF;
        return -1;
    }
    return g_storage.write(fd, buf, len, int64_t(off));
}

void storage_sync(int fd) {
    if (g_storage.sync) g_storage.sync(fd);
}

} // namespace rfs

extern "C" RFS_API int rfs_set_operate_cb(rfs_open_t open_cb, rfs_close_t close_cb,
                                          rfs_read_t read_cb, rfs_write_t write_cb,
                                          rfs_sync_t sync_cb) noexcept {
    rfs::g_storage = {open_cb, close_cb, read_cb, write_cb, sync_cb};
    return 0;
}
