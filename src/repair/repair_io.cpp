// Index and data-file access shared by the repair steps.
#include <algorithm>

#include "disk/index.h"
#include "disk/paths.h"
#include "frame/log.h"
#include "frame/state.h"
#include "frame/storage.h"
#include "repair/repair.h"

namespace rfs {

namespace {

// NAS: a recovery during a read or write may have struck out the copy *fd
// has open; later accesses go to the new primary.
int follow_primary(RepairContext &ctx) {
    if (!nas_mode()) return 0;
    int k = select_index_copy(ctx.block, ctx.partition, true);
    if (k < 0) return -1;
    if (k == ctx.fd_copy) return 0;
    int fd = open_index_file(ctx.path, RFS_O_RDWR, k);
    if (fd < 0) {
        rfs_log("open file %s failed\n", ctx.path);
        return -1;
    }
    if (*ctx.fd >= 0) storage_close(*ctx.fd);
    *ctx.fd = fd;
    ctx.fd_copy = k;
    return 0;
}

} // namespace

int repair_index_read(RepairContext &ctx, uint64_t off, void *buf, uint32_t len) {
    if (follow_primary(ctx) != 0) return -1;
    return index_read(*ctx.fd, ctx.block, ctx.partition, off, buf, len, ctx.path);
}

int repair_index_write(RepairContext &ctx, uint64_t off, const void *buf, uint32_t len) {
    if (follow_primary(ctx) != 0) return -1;
    if (nas_mode()) return index_write_nas(*ctx.fd, ctx.block, ctx.partition, off, buf, len, ctx.path);
    return index_write(*ctx.fd, ctx.block, ctx.partition, off, buf, len, ctx.path);
}

int repair_index_commit(RepairContext &ctx, uint64_t off, const void *buf, uint32_t len) {
    if (follow_primary(ctx) != 0) return -1;
    return index_write_commit(*ctx.fd, ctx.block, ctx.partition, off, buf, len, ctx.path);
}

int write_closed_file_record(RepairContext &ctx, uint32_t k, const uint8_t *rec) {
    namespace fi = index_file_info;
    uint8_t open_rec[fi::kSize];
    std::copy(rec, rec + fi::kSize, open_rec);
    fi::set_end_sequence(open_rec, fi::kOpenSequence);
    uint64_t at = file_record_offset(*ctx.block, k);
    if (repair_index_write(ctx, at, open_rec, fi::kSize) != 0) return -1;
    return repair_index_commit(ctx, at + fi::kEndSequence, rec + fi::kEndSequence, 4);
}

RepairDataFile::~RepairDataFile() { close(); }

void RepairDataFile::close() {
    if (owned_ < 0) return;
    if (written_) storage_sync(owned_);
    storage_close(owned_);
    owned_ = -1;
}

bool RepairDataFile::open(const RepairContext &ctx, uint32_t k) {
    close();
    written_ = false;
    if (!nas_mode()) {
        fd_ = *ctx.fd;
        base_ = ctx.block->part_base(ctx.partition) + uint64_t(data_file_addr(ctx.block, int(k)));
        return true;
    }
    base_ = 0;
    owned_ = fd_ = open_data_file(ctx.path, RFS_O_RDWR, int(k));
    return fd_ >= 0;
}

void add_to_day_map(uint8_t *rec, uint32_t start, uint64_t type_mask) {
    uint32_t day_bit = 1u << ((((start >> 17) & 31) - 1) & 31);
    uint32_t low = uint32_t(type_mask);
    bool high = (type_mask >> 32) != 0;
    for (size_t b = 0; b < index_file_info::kDayMapWords; ++b) {
        bool marked = (low >> (b % 32)) & 1 || (b % 32 == 31 && high);
        if (!marked) continue;
        index_file_info::set_day_map(rec, b, index_file_info::day_map(rec, b) | day_bit);
    }
}

void widen_range(uint32_t *first, uint32_t *last, uint32_t start, uint32_t end) {
    if (*first == 0 || (start != 0 && start < *first)) *first = start;
    if (end > *last) *last = end;
}

} // namespace rfs
