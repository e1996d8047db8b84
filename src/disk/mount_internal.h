// Steps of a disk mount, shared by the files of this folder.
#pragma once

#include "disk/layout.h"

namespace rfs {

// A disk left with disk_state 3 or above: reset it to 0 on every index copy,
// and reset part_state 2 in each partition's primary copy.
void repair_disk_state(int id, const char *path, DiskParamBlock *b);

// Raw mount of partition p into slot. 0 or -1.
int mount_raw_partition(int p, DiskParamBlock *b, PartitionRecord *slot, const char *path);

} // namespace rfs
