// The calls a mount makes into record repair and the label reader.
#include "disk/mount_hooks.h"

#include "disk/label_area.h"
#include "repair/repair.h"

namespace rfs {

int mount_repair_partition(DiskParamBlock *b, PartitionRecord *slot, const char *path, int *fd,
                           int p) {
    return repair_partition(b, slot, path, fd, p);
}

int mount_load_label_head(const char *path, const DiskParamBlock *b, LabelHead *head) {
    return load_label_head(path, b, head);
}

} // namespace rfs
