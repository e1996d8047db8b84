// Resetting a disk and its partitions that the recorder marked bad.
#include "disk/index.h"
#include "disk/index_internal.h"
#include "disk/mount_internal.h"
#include "disk/param.h"
#include "disk/paths.h"
#include "frame/log.h"
#include "frame/state.h"
#include "frame/storage.h"

namespace rfs {

namespace {

// Only the primary copy's partition record is reset; the other copies keep
// state 2 until a recovery copies the primary over them.
void reset_partition_state(const char *path, const DiskParamBlock &b, int p) {
    if (!index_area_in_disk(b, p)) return; // the partition mount then refuses it
    int k = select_index_copy(&b, p, true);
    if (k < 0) {
        rfs_log("can't find valid index!\n");
        return;
    }
    FdGuard fd(open_index_file(path, RFS_O_RDWR, k));
    if (fd.get() < 0) {
        rfs_log("open file %s failed\n", path);
        return;
    }
    if (!index_area_readable(b, p, fd.get())) return;
    uint64_t pos = nas_mode() ? b.part_base(p) : raw_copy_addr(b, p, k, 0);
    PartitionRecord rec;
    if (!read_exact(fd.get(), rec.bytes, PartitionRecord::kSize, pos)) {
        rfs_log("partition state bad state = %d\n", PartitionRecord::kStateBad);
        return;
    }
    if (rec.magic() != kMagicPart) {
        rfs_log("part info magic %#x err\n", rec.magic());
        return;
    }
    if (rec.part_state() != PartitionRecord::kStateBad) return;
    rec.set_part_state(0);
    if (!write_exact(fd.get(), rec.bytes, PartitionRecord::kSize, pos))
        rfs_log("partition state bad state = %d\n", PartitionRecord::kStateBad);
}

} // namespace

void repair_disk_state(int id, const char *path, DiskParamBlock *b) {
    if (b->disk_state() < 3) return;
    b->set_disk_state(0);
    rfs_log("disk:%d state bad ,now repair!!!!\n", id);
    write_param_all(path, b);
    for (int p = 0; p < b->part_count(); ++p) reset_partition_state(path, *b, p);
}

} // namespace rfs
