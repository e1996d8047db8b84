// The calls a mount makes into record repair and the label reader.
//
// Neither is part of this build yet. Until record repair is linked in, a
// partition flagged as being written mounts as the recorder left it: nothing
// is repaired and the flag stays set on disk, so the first mount with repair
// still finds the work to do. Until the label reader is linked in, no label
// head is read and every disk mounts with an all-zero head (no labels).
#include "disk/mount_hooks.h"

namespace rfs {

int mount_repair_partition(DiskParamBlock *, PartitionRecord *, const char *, int *, int) {
    return 0;
}

int mount_load_label_head(const char *, const DiskParamBlock *, LabelHead *) { return 0; }

} // namespace rfs
