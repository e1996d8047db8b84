// The two calls a mount makes into other subsystems: record repair of a
// partition the recorder was writing when it stopped, and the label-head load.
#pragma once

#include <cstdint>

#include "disk/layout.h"

namespace rfs {

// Repairs partition p (repair_flag 1, part_state below 2) through the open
// index descriptor *fd, which it may replace; the caller closes *fd after.
// 0 or -1.
int mount_repair_partition(DiskParamBlock *b, PartitionRecord *slot, const char *path, int *fd,
                           int p);

// Reports the repair of partition p as failed before it began: the partition
// was flagged, but what its record claims lies outside the disk, so nothing
// of it is repaired and its flag stays set on disk.
void mount_repair_refused(int p);

// Reads the disk's label head into `head` (raw: at the block's label area
// offset; NAS: at offset 0 of label0). 0 or negative.
int mount_load_label_head(const char *path, const DiskParamBlock *b, LabelHead *head);

} // namespace rfs
