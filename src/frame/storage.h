// The one way to storage: the five operations the host installed. A read or a
// write succeeds only when it moved exactly the length asked for. A slot the
// host left empty fails (result -1, errno EBADF) instead of being called.
#pragma once

#include <cstdint>

#include "rfs.h"

namespace rfs {

struct StorageCallbacks {
    rfs_open_t open = nullptr;
    rfs_close_t close = nullptr;
    rfs_read_t read = nullptr;
    rfs_write_t write = nullptr;
    rfs_sync_t sync = nullptr;
};

extern StorageCallbacks g_storage;

int storage_open(const char *path, int flags);
void storage_close(int fd);
// Raw counts, for the log lines that report them.
int storage_read(int fd, void *buf, uint32_t len, uint64_t off);
int storage_write(int fd, const void *buf, uint32_t len, uint64_t off);
void storage_sync(int fd);

inline bool read_exact(int fd, void *buf, uint32_t len, uint64_t off) {
    return storage_read(fd, buf, len, off) == int(len);
}
inline bool write_exact(int fd, const void *buf, uint32_t len, uint64_t off) {
    return storage_write(fd, buf, len, off) == int(len);
}

// Closes a descriptor through the host's close on every exit path. Descriptors
// below 0 are not open; release() hands ownership back to the caller.
class FdGuard {
  public:
    explicit FdGuard(int fd = -1) : fd_(fd) {}
    ~FdGuard() { reset(); }
    FdGuard(const FdGuard &) = delete;
    FdGuard &operator=(const FdGuard &) = delete;
    int get() const { return fd_; }
    int *addr() { return &fd_; }
    int release() {
        int fd = fd_;
        fd_ = -1;
        return fd;
    }
    void reset(int fd = -1) {
        if (fd_ >= 0) storage_close(fd_);
        fd_ = fd;
    }

  private:
    int fd_;
};

} // namespace rfs
