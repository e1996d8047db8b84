// Helpers shared by the index-copy routines of this folder.
#pragma once

#include <cstdint>

#include "disk/layout.h"

namespace rfs {

// Usable copy numbers of partition p in increasing order; returns how many.
int usable_copies(const DiskParamBlock &b, int p, int *out);

// Copy k of partition p on a raw device, whatever the storage mode.
uint64_t raw_copy_addr(const DiskParamBlock &b, int p, int k, uint64_t off);

} // namespace rfs
