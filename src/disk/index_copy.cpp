// Choosing index copies and locating them.
#include "disk/index.h"
#include "disk/index_internal.h"

#include "frame/log.h"
#include "frame/state.h"

namespace rfs {

int select_index_copy(const DiskParamBlock *b, int p, bool primary) {
    // Negative partition numbers are refused like those from 16 up: both
    // would index outside the block's per-partition tables.
    if (!b || p < 0 || p >= kPartitionSlots) {
        rfs_log("invalid param!\n");
        return -1;
    }
    int copies[kIndexCopies];
    int n = usable_copies(*b, p, copies);
    if (n < 2) {
        rfs_log("invalid index file flag!\n");
        return -1;
    }
    return primary ? copies[0] : copies[1];
}

int usable_copies(const DiskParamBlock &b, int p, int *out) {
    int n = 0;
    for (int k = 0; k < kIndexCopies; ++k)
        if (b.index_flags(p) & (1u << k)) out[n++] = k;
    return n;
}

// The stride is a 64-bit product: copies of a gigabyte and more lie past 4 GiB
// from the partition base, and a wrapped stride would name another copy.
uint64_t raw_copy_addr(const DiskParamBlock &b, int p, int k, uint64_t off) {
    return b.part_base(p) + uint64_t(k) * b.index_copy_size() + off;
}

uint64_t index_copy_addr(const DiskParamBlock &b, int p, int k, uint64_t off) {
    return nas_mode() ? b.part_base(p) + off : raw_copy_addr(b, p, k, off);
}

int recover_index_copy(DiskParamBlock *b, int p, int secondary_failed, int *fd,
                       const char *path) {
    if (nas_mode()) return deal_with_index_error_nas(b, p, secondary_failed, path);
    return deal_with_index_error(b, p, secondary_failed, fd, path);
}

} // namespace rfs
