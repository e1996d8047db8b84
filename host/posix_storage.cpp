#include "posix_storage.h"

#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <string>
#include <unistd.h>

#include "disk_alias.h"

namespace rfs_host {

int posix_open_flags(int rfs_flags) {
    constexpr int kAccessMask = 0x3;
    if (rfs_flags & ~(kAccessMask | RFS_O_BINARY)) return -1;
    switch (rfs_flags & kAccessMask) {
    case RFS_O_RDONLY: return O_RDONLY | O_CLOEXEC;
    case RFS_O_WRONLY: return O_WRONLY | O_CLOEXEC;
    case RFS_O_RDWR: return O_RDWR | O_CLOEXEC;
    default: return -1;
    }
}

int posix_open(const char *path, int flags) {
    int os_flags = posix_open_flags(flags);
    if (path == nullptr || os_flags < 0) {
        errno = path == nullptr ? EFAULT : EINVAL;
        return -1;
    }
    return without_exceptions([&] { return ::open(resolve_alias(path).c_str(), os_flags); });
}

int posix_close(int fd) { return ::close(fd); }

// pread and pwrite may move less than asked (a signal, a pipe-like file); go
// on from where they stopped until the whole length moved, the file ended
// (0) or an error came. An error after some bytes moved reports those bytes.
template <typename Buf, typename Call>
static int transfer(Buf *buf, uint32_t len, int64_t offset, Call call) {
    if (len > uint32_t(INT_MAX)) {
        errno = EINVAL;
        return -1;
    }
    size_t done = 0;
    while (done < len) {
        ssize_t n = call(buf + done, len - done, off_t(offset + int64_t(done)));
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return done > 0 ? int(done) : -1;
        if (n == 0) break;
        done += size_t(n);
    }
    return int(done);
}

int posix_read(int fd, void *buf, uint32_t len, int64_t offset) {
    return transfer(static_cast<char *>(buf), len, offset,
                    [fd](char *p, size_t n, off_t at) { return ::pread(fd, p, n, at); });
}

int posix_write(int fd, const void *buf, uint32_t len, int64_t offset) {
    return transfer(static_cast<const char *>(buf), len, offset,
                    [fd](const char *p, size_t n, off_t at) { return ::pwrite(fd, p, n, at); });
}

int posix_sync(int fd) { return ::fsync(fd); }

StorageOps posix_ops() {
    return {posix_open, posix_close, posix_read, posix_write, posix_sync};
}

int install_posix() { return install(posix_ops()); }

} // namespace rfs_host
