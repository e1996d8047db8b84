// Mounting one partition: open its primary index copy, read the partition
// record, and repair the partition when the recorder was writing it.
#include <cerrno>
#include <cstdio>

#include "disk/index.h"
#include "disk/mount_hooks.h"
#include "disk/mount_internal.h"
#include "disk/paths.h"
#include "disk/registry.h"
#include "frame/log.h"
#include "frame/storage.h"

namespace rfs {

namespace {

bool needs_repair(const PartitionRecord &slot) {
    return slot.part_state() < PartitionRecord::kStateBad && slot.repair_flag() == 1;
}

// Reads the partition record at offset 0 of the area and checks its magic
// and what it claims. A record whose tables or files lie outside the disk
// leaves nothing in the slot: no later call may reach its files.
int read_partition_record(int fd, DiskParamBlock *b, int p, PartitionRecord *slot,
                          const char *path) {
    if (!index_area_readable(*b, p, fd)) return -1;
    if (index_read(fd, b, p, 0, slot->bytes, PartitionRecord::kSize, path) != 0) return -1;
    if (slot->magic() != kMagicPart) {
        rfs_log("part info magic %#x err\n", slot->magic());
        return -1;
    }
    if (partition_contents_fit(*b, p, *slot, fd, path)) return 0;
    if (needs_repair(*slot)) mount_repair_refused(p);
    *slot = PartitionRecord{};
    return -1;
}

// NAS: a primary copy that cannot even be opened is recovered like one that
// cannot be read. Each round strikes out a copy, so the loop ends.
int open_nas_primary(int p, DiskParamBlock *b, const char *path, int *k) {
    int fd = open_index_file(path, RFS_O_RDWR, *k);
    while (fd < 0) {
        rfs_log("open %s index%d failed, errno=%d\n", path, *k, errno);
        rfs_perror("");
        if (deal_with_index_error_nas(b, p, 0, path) != 0) return -1;
        *k = select_index_copy(b, p, true);
        if (*k < 0) {
            rfs_log("can't find valid index!\n");
            return -1;
        }
        fd = open_index_file(path, RFS_O_RDWR, *k);
    }
    return fd;
}

} // namespace

int mount_raw_partition(int p, DiskParamBlock *b, PartitionRecord *slot, const char *path) {
    if (!index_area_in_disk(*b, p)) return -1;
    // Without a valid copy the open still goes ahead (raw mode opens the
    // device whatever the copy); the index read then refuses.
    int k = select_index_copy(b, p, true);
    if (k < 0) rfs_log("can't find valid index!\n");
    FdGuard fd(open_index_file(path, RFS_O_RDWR, k));
    if (fd.get() < 0) {
        rfs_log("open file %s failed\n", path);
        return -1;
    }
    if (read_partition_record(fd.get(), b, p, slot, path) != 0) return -1;
    if (!needs_repair(*slot)) return 0;
    return mount_repair_partition(b, slot, path, fd.addr(), p);
}

int mount_nas_partition(int p, DiskParamBlock *b, PartitionRecord *slot, const char *path) {
    if (!index_area_in_disk(*b, p)) return -1;
    int k = select_index_copy(b, p, true);
    if (k < 0) rfs_log("can't find valid index!\n");
    FdGuard fd(open_nas_primary(p, b, path, &k));
    if (fd.get() < 0) return -1;
    if (read_partition_record(fd.get(), b, p, slot, path) != 0) return -1;
    // The read may have recovered the primary: repair works on the new one.
    int now = select_index_copy(b, p, true);
    if (now != k) {
        fd.reset(open_index_file(path, RFS_O_RDWR, now));
        if (fd.get() < 0) {
            rfs_log("open file %s failed\n", path);
            return -1;
        }
    }
    if (!needs_repair(*slot)) return 0;
    return mount_repair_partition(b, slot, path, fd.addr(), p);
}

} // namespace rfs
