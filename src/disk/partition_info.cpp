// rfs_get_partition_info (extension): a mounted partition as the library
// holds it, and how each index copy's partition record reads now, so a host
// can say why a partition is unusable and which copy still holds it.
#include <cstring>

#include "disk/index.h"
#include "disk/paths.h"
#include "disk/registry.h"
#include "frame/storage.h"
#include "frame/time.h"

namespace rfs {

namespace {

// The record of copy k against the mounted one. Read-only: a copy that fails
// is reported, never recovered.
uint8_t check_copy(const disk_info_t &d, int p, int k) {
    FdGuard fd(open_index_file(d.path, RFS_O_RDONLY | RFS_O_BINARY, k));
    PartitionRecord rec;
    if (fd.get() < 0 || !read_exact(fd.get(), rec.bytes, PartitionRecord::kSize, index_copy_addr(d.param, p, k, 0)))
        return RFS_COPY_UNREADABLE;
    if (rec.magic() != kMagicPart) return RFS_COPY_NO_MAGIC;
    bool same = std::memcmp(rec.bytes, d.partition[p].bytes, PartitionRecord::kSize) == 0;
    return same ? RFS_COPY_SAME : RFS_COPY_DIFFERS;
}

void fill_info(const disk_info_t &d, int p, RfsPartitionInfo *out) {
    const PartitionRecord &rec = d.partition[p];
    *out = RfsPartitionInfo{};
    out->part_count = d.param.part_count();
    out->disk_state = d.param.disk_state();
    out->state = rec.part_state();
    out->repair_flag = rec.repair_flag();
    out->index_flags = d.param.index_flags(p);
    out->record_ok = rec.magic() == kMagicPart;
    for (int k = 0; k < kIndexCopies; ++k) out->copy_check[k] = check_copy(d, p, k);
    out->file_nr = rec.file_nr();
    out->free_file_nr = rec.free_file_nr();
    unpack_time(rec.record_start(), &out->record_start);
    unpack_time(rec.record_end(), &out->record_end);
    unpack_time(rec.pic_start(), &out->pic_start);
    unpack_time(rec.pic_end(), &out->pic_end);
}

} // namespace

} // namespace rfs

using namespace rfs;

extern "C" RFS_API int rfs_get_partition_info(int id, int p, RfsPartitionInfo *out) noexcept {
    const disk_info_t *d = mounted_disk(id);
    if (!d) return -1;
    if (!out) return RFS_ERR_NULL;
    int parts = d->param.part_count() < kMaxPartitions ? d->param.part_count() : kMaxPartitions;
    if (p < 0 || p >= parts) return RFS_ERR_MISSING;
    fill_info(*d, p, out);
    return 0;
}
