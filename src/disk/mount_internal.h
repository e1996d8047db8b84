// Steps of a disk mount, shared by the files of this folder.
#pragma once

#include "disk/layout.h"

namespace rfs {

// A disk left with disk_state 3 or above: reset it to 0 on every index copy,
// and reset part_state 2 in each partition's primary copy.
void repair_disk_state(int id, const char *path, DiskParamBlock *b);

// The index copies of partition p, as the block places them, lie inside the
// disk in 64-bit arithmetic and can hold a partition record (raw: inside the
// bytes the block describes, and ahead of the data files; NAS: at an offset
// an index file can have). Logs and returns false otherwise.
bool index_area_in_disk(const DiskParamBlock &b, int p);
// The last byte of those copies can be read through fd (raw: the device; NAS:
// the index file), so the device does not end before them. Logs otherwise.
bool index_area_readable(const DiskParamBlock &b, int p, int fd);
// What the partition record claims fits too: its file and event tables inside
// one index copy; raw, its data files inside the disk and readable at their
// end; NAS, the name of its highest data file inside its buffer.
bool partition_contents_fit(const DiskParamBlock &b, int p, const PartitionRecord &rec, int fd,
                            const char *path);

// Raw mount of partition p into slot. 0 or -1.
int mount_raw_partition(int p, DiskParamBlock *b, PartitionRecord *slot, const char *path);

} // namespace rfs
