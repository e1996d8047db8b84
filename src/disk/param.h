// The disk parameter block: reading it, checking magic, version and check sum,
// and writing it back to every index copy after a change.
#pragma once

#include <cstdint>

#include "disk/layout.h"

namespace rfs {

// XOR of the 67 little-endian words in front of the stored check sum.
uint32_t param_check_sum(const DiskParamBlock &b);

// Reads the 272-byte block at byte 128 of the disk's index (raw: the device;
// NAS: the first index file that opens). 0 or -1.
int read_disk_param(const char *path, DiskParamBlock *out);

// 0 when magic, version 5.1 and check sum hold; otherwise logs the format line
// and returns -1. data_file_size is not judged here.
int check_disk_param(const DiskParamBlock *b);

// Stores the fresh check sum into *b and writes the block to every index copy
// (raw: the one block on the device). Write failures are logged only: 0 always.
int write_param_all(const char *path, DiskParamBlock *b);

} // namespace rfs
