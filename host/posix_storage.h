// Storage operations on POSIX files and devices: open, pread, pwrite, fsync,
// close. Paths that are disk aliases (disk_alias.h) are mapped back to the real
// path in open; every other path is used as given.
//
// Results follow the system calls: a negative result leaves errno as the system
// set it. read and write return the number of bytes moved, which may be short
// (end of file, a full device); the library treats anything but the whole
// length as a failure.
#pragma once

#include <cstdint>

#include "storage_ops.h"

namespace rfs_host {

// Translates the library's open flags (RFS_O_RDONLY 0, RFS_O_WRONLY 1,
// RFS_O_RDWR 2, OR-ed with RFS_O_BINARY 0x8000) to this platform's. Binary is
// a no-op here. Nothing is ever created or truncated: any other bit, or the
// access mode 3, is refused with -1 (open then fails with EINVAL).
int posix_open_flags(int rfs_flags);

int posix_open(const char *path, int flags);
int posix_close(int fd);
// A length above INT_MAX cannot be reported in the int result: EINVAL.
int posix_read(int fd, void *buf, uint32_t len, int64_t offset);
int posix_write(int fd, const void *buf, uint32_t len, int64_t offset);
int posix_sync(int fd);

StorageOps posix_ops();
// posix_ops() installed with rfs_set_operate_cb.
int install_posix();

} // namespace rfs_host
