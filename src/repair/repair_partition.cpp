// repair_partition: the three steps of a flagged partition's repair, and the
// partition record's time ranges, rebuilt last with the flag cleared.
#include "frame/buffer.h"
#include "frame/log.h"
#include "frame/state.h"
#include "frame/storage.h"
#include "frame/time.h"
#include "disk/index.h"
#include "repair/repair.h"
#include "repair/repair_report.h"

namespace rfs {

namespace {

namespace fi = index_file_info;

// The end_sequence range of the files that count, and the free-file count.
void scan_sequences(RepairContext &ctx) {
    uint16_t free_files = 0;
    for (uint32_t k = 0; k < ctx.file_nr; ++k) {
        const uint8_t *rec = ctx.file_table + size_t(k) * fi::kSize;
        if (fi::magic(rec) != kMagicFile) continue;
        uint8_t state = fi::file_state(rec);
        if (state == 0) ++free_files;
        if (state == 3 || state > 4) continue;
        uint32_t seq = fi::end_sequence(rec);
        if (seq != fi::kOpenSequence && seq > ctx.max_end_sequence) ctx.max_end_sequence = seq;
        if (seq != 0 && seq < ctx.min_end_sequence) ctx.min_end_sequence = seq;
    }
    ctx.part->set_free_file_nr(free_files);
    rfs_log("min end_sequence=%u, max end_sequence=%u\n", ctx.min_end_sequence,
            ctx.max_end_sequence);
}

void report_partition(const RepairContext &ctx, bool failed) {
    RfsRepairAction a{};
    a.kind = RFS_REPAIR_PARTITION;
    a.flags = failed ? RFS_REPAIR_FAILED : 0;
    a.partition = uint8_t(ctx.partition);
    a.count = ctx.files_closed;
    if (!failed) {
        unpack_time(ctx.part->record_start(), &a.start);
        unpack_time(ctx.part->record_end(), &a.end);
    }
    repair_report_add(a);
}

int run_steps(RepairContext &ctx) {
    if (repair_record_files(ctx) != 0) {
        rfs_log("repair rec err\n");
        return -1;
    }
    if (repair_picture_files(ctx) != 0 || rewrite_partition_times(ctx) != 0) {
        rfs_log("repair pic err\n");
        return -1;
    }
    return 0;
}

} // namespace

int rewrite_partition_times(RepairContext &ctx) {
    uint32_t rec_first = 0, rec_last = 0, pic_first = 0, pic_last = 0;
    for (uint32_t k = 0; k < ctx.file_nr; ++k) {
        const uint8_t *rec = ctx.file_table + size_t(k) * fi::kSize;
        uint8_t state = fi::file_state(rec);
        if (fi::magic(rec) != kMagicFile || !(state == 1 || state == 2 || state == 4)) continue;
        if (fi::file_type(rec) == 0)
            widen_range(&rec_first, &rec_last, fi::start_time(rec), fi::end_time(rec));
        else if (fi::file_type(rec) == 1)
            widen_range(&pic_first, &pic_last, fi::start_time(rec), fi::end_time(rec));
    }
    PartitionRecord &part = *ctx.part;
    part.set_record_start(rec_first);
    part.set_record_end(rec_last);
    part.set_pic_start(pic_first);
    part.set_pic_end(pic_last);
    part.set_repair_flag(0);
    if (repair_index_commit(ctx, 0, part.bytes, PartitionRecord::kSize) != 0) {
        rfs_log("write file partition info failed\n");
        return RFS_ERR_INDEX_WRITE;
    }
    return 0;
}

int repair_partition(DiskParamBlock *b, PartitionRecord *part, const char *path, int *fd, int p) {
    RepairContext ctx;
    ctx.fd = fd;
    ctx.fd_copy = select_index_copy(b, p, true);
    ctx.partition = p;
    ctx.block = b;
    ctx.part = part;
    ctx.path = path;
    ctx.file_nr = part->file_nr();
    MallocBuffer table(size_t(ctx.file_nr) * fi::kSize);
    if (ctx.file_nr && !table) {
        rfs_log("file info malloc failed\n");
        rfs_log("get chn seq err\n");
        return -1;
    }
    ctx.file_table = table.data();
    if (ctx.file_nr && repair_index_read(ctx, b->file_table_off(), ctx.file_table,
                                         uint32_t(table.size())) != 0) {
        rfs_log("read file err!\n");
        rfs_log("get chn seq err\n");
        return -1;
    }
    scan_sequences(ctx);
    int r = run_steps(ctx);
    report_partition(ctx, r != 0);
    if (r != 0) return -1;
    storage_sync(*ctx.fd);
    return 0;
}

} // namespace rfs
