// Turning a disk path and a number into something the storage operations
// understand. Raw mode: a disk is one device and every routine opens it whole.
// NAS mode: a disk is a directory of index%d, file%d and label%d files.
#pragma once

#include <cstdint>

#include "disk/layout.h"

namespace rfs {

// Composed names live in fixed buffers: 64 bytes for data files, 68 for index
// and label files. A name that does not fit is refused (open fails) rather
// than cut short, so a long path can never open a neighbouring file.
constexpr int kDataNameSize = 64;
constexpr int kIndexNameSize = 68;

// Start of data file n (0-based) relative to the partition base. The stride is
// the effective data-file size; a zero data_area_start together with a zero
// data_file_size stands for a data area at 512 MiB.
int64_t data_file_addr(const DiskParamBlock *b, int n);

// "%s/index%d" into out (kIndexNameSize bytes); false when it does not fit.
bool index_file_name(char *out, const char *path, int k);
// "%s/file%d" into out (kDataNameSize bytes); false when it does not fit.
bool data_file_name(char *out, const char *path, int n);

int open_data_file(const char *path, int flags, int n);
// k: index copy 0..3, or -1 for the first of index0..index3 that opens (NAS).
int open_index_file(const char *path, int flags, int k);
int open_label_file(const char *path, int flags);

// Absolute device offset in raw mode; in NAS mode the file-relative offset.
uint64_t disk_offset(uint64_t part_base, uint64_t file_start, uint64_t offset);

// Whether a failed access means the disk has gone: a missing or too short path,
// or in NAS mode EIO, EBADF, EFAULT or EHOSTDOWN.
bool is_disk_dropped(const char *path, int err);

} // namespace rfs
