// The calls a mount makes into record repair and the label reader.
#include "disk/mount_hooks.h"

#include "disk/label_area.h"
#include "repair/repair.h"
#include "repair/repair_report.h"

namespace rfs {

int mount_repair_partition(DiskParamBlock *b, PartitionRecord *slot, const char *path, int *fd,
                           int p) {
    return repair_partition(b, slot, path, fd, p);
}

void mount_repair_refused(int p) {
    RfsRepairAction a{};
    a.kind = RFS_REPAIR_PARTITION;
    a.flags = RFS_REPAIR_FAILED;
    a.partition = uint8_t(p);
    repair_report_add(a);
}

int mount_load_label_head(const char *path, const DiskParamBlock *b, LabelHead *head) {
    return load_label_head(path, b, head);
}

} // namespace rfs
