// Writing a partition's index area: first the primary copy, then the
// secondary. A primary write that succeeded stays written when the secondary
// then fails; the next recovery copies the whole area again.
#include "disk/index.h"
#include "disk/index_internal.h"
#include "disk/paths.h"
#include "frame/log.h"
#include "frame/state.h"
#include "frame/storage.h"

namespace rfs {

namespace {

int select_copy(const DiskParamBlock *b, int p, bool primary) {
    int k = select_index_copy(b, p, primary);
    if (k < 0) rfs_log("can't find valid index!\n");
    return k;
}

// Opens copy k read-write, replacing what `owned` held.
int open_copy(const char *path, int k, FdGuard *owned) {
    int fd = open_index_file(path, RFS_O_RDWR, k);
    if (fd < 0) {
        rfs_log("open file %s failed\n", path);
        return -1;
    }
    owned->reset(fd);
    return fd;
}

// One copy through the device descriptor (raw mode only). Each failed write
// strikes out a copy, so the loop ends.
int write_raw_copy(int *fd, DiskParamBlock *b, int p, bool primary, uint64_t off,
                   const void *buf, uint32_t len, const char *path) {
    for (;;) {
        int k = select_copy(b, p, primary);
        if (k < 0) return -1;
        int put = storage_write(*fd, buf, len, raw_copy_addr(*b, p, k, off));
        if (put == int(len)) return 0;
        if (primary) rfs_log("write %s err ret=%d\n", path, put);
        else rfs_log("22write file %s failed ret=%d\n", path, put);
        if (deal_with_index_error(b, p, primary ? 0 : 1, fd, path) != 0) {
            if (primary) rfs_log("write err part%d\n", p);
            else rfs_log("write index err: disk%s, part%d\n", path, p);
            return -1;
        }
    }
}

// Writes one copy (primary or secondary) through *fd, recovering and
// reopening the copy after each failure. `owned` holds what was opened here.
int write_copy(int *fd, FdGuard *owned, DiskParamBlock *b, int p, bool primary, uint64_t off,
               const void *buf, uint32_t len, const char *path) {
    for (;;) {
        int k = select_copy(b, p, primary);
        if (k < 0) return -1;
        if (!primary && owned->get() < 0 && (*fd = open_copy(path, k, owned)) < 0) return -1;
        int put = storage_write(*fd, buf, len, index_copy_addr(*b, p, k, off));
        if (put == int(len)) return 0;
        rfs_log("22write file %s failed ret=%d\n", path, put);
        if (recover_index_copy(b, p, primary ? 0 : 1, fd, path) != 0) {
            rfs_log("write index err: disk%s, part%d\n", path, p);
            return -1;
        }
        k = select_copy(b, p, primary);
        if (k < 0 || (*fd = open_copy(path, k, owned)) < 0) return -1;
    }
}

int write_nas_copies(int fd, DiskParamBlock *b, int p, uint64_t off, const void *buf,
                     uint32_t len, const char *path, bool secondary_first) {
    FdGuard primary_owned, secondary_owned;
    int primary_fd = fd, secondary_fd = -1;
    auto one = [&](bool primary) {
        return primary ? write_copy(&primary_fd, &primary_owned, b, p, true, off, buf, len, path)
                       : write_copy(&secondary_fd, &secondary_owned, b, p, false, off, buf, len,
                                    path);
    };
    if (one(!secondary_first) != 0) return -1;
    return one(secondary_first);
}

} // namespace

int index_write(int fd, DiskParamBlock *b, int p, uint64_t off, const void *buf, uint32_t len,
                const char *path) {
    if (write_raw_copy(&fd, b, p, true, off, buf, len, path) != 0) return -1;
    return write_raw_copy(&fd, b, p, false, off, buf, len, path);
}

int index_write_nas(int fd, DiskParamBlock *b, int p, uint64_t off, const void *buf,
                    uint32_t len, const char *path) {
    return write_nas_copies(fd, b, p, off, buf, len, path, false);
}

int index_write_commit(int fd, DiskParamBlock *b, int p, uint64_t off, const void *buf,
                       uint32_t len, const char *path) {
    if (nas_mode()) return write_nas_copies(fd, b, p, off, buf, len, path, true);
    if (write_raw_copy(&fd, b, p, false, off, buf, len, path) != 0) return -1;
    return write_raw_copy(&fd, b, p, true, off, buf, len, path);
}

} // namespace rfs
