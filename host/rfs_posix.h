/*
 * rfs_posix.h - ready storage operations for librfs on POSIX files and
 * devices, with short disk names so that disks may live at paths of any
 * length.
 *
 * librfs keeps 63 characters of a disk path and composes names such as
 * "<path>/file12" from them. Two calls give a host long paths:
 *
 *     char disk[RFS_POSIX_NAME_SIZE];
 *     rfs_posix_install();                                   // instead of rfs_set_operate_cb
 *     rfs_posix_disk_name("/very/long/path/to/case-4711/disk.img", disk, sizeof disk);
 *     rfs_add_disk(0, disk, 0, 0, NULL);
 *
 * The operations map each short name ("/rfs/d0", and "/rfs/d0/file12" under
 * it) back to the real path when they open it. Nothing is ever created or
 * truncated: open refuses every flag but read, write, read-write and binary.
 * Like librfs, none of this takes locks: the host serialises its calls.
 */
#ifndef RFS_POSIX_H
#define RFS_POSIX_H

#include <stddef.h>

#include "rfs.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Enough for every short name this library gives. */
#define RFS_POSIX_NAME_SIZE 16

/* Installs open/close/read/write/sync on POSIX files (pread, pwrite, fsync)
 * with rfs_set_operate_cb. Returns its result, 0. */
RFS_API int rfs_posix_install(void) RFS_NOEXCEPT;

/* Writes the short name of a disk (an image, a device or a NAS folder) to
 * `name`. The same path, after making it absolute and dropping "." and ".."
 * parts, always gets the same name. 0, or RFS_ERR_NULL for a null argument,
 * RFS_ERR_BUFFER when `size` is too small. */
RFS_API int rfs_posix_disk_name(const char *path, char *name, size_t size) RFS_NOEXCEPT;

/* Forgets every short name (after the host removed its disks). */
RFS_API void rfs_posix_forget_names(void) RFS_NOEXCEPT;

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* RFS_POSIX_H */
