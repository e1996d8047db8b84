// Picture files left open by a power cut: the summary of the file is rebuilt
// from its picture records, read back from the end of the file until the
// "Pend" marker below the newest one.
#include "disk/layout.h"
#include "frame/buffer.h"
#include "frame/log.h"
#include "frame/state.h"
#include "frame/storage.h"
#include "frame/time.h"
#include "repair/repair.h"
#include "repair/repair_report.h"

namespace rfs {

namespace {

namespace fi = index_file_info;
namespace pr = pic_record;

constexpr int kPicBlocks = 32;

// Records per block: 32 for every MiB of the data file.
uint32_t records_per_block(uint32_t file_size) { return (file_size >> 20) * 32; }

// The recorder marks channel masks with a 32-bit shift widened with its
// sign: channel 31 sets bits 31..63, channels 32..62 set bit chn - 32.
uint64_t chn_bit(uint32_t x) {
    return uint64_t(int64_t(int32_t(uint32_t(1) << (x % 32))));
}

void reset_summary(uint8_t *rec, uint32_t file_size, bool keep_day_map) {
    if (!keep_day_map) fi::clear_day_map(rec);
    fi::set_event_nr(rec, 0);
    fi::set_start_time(rec, 0);
    fi::set_end_time(rec, 0);
    fi::set_pic_chn_mask(rec, 0, 0);
    fi::set_pic_chn_mask(rec, 1, 0);
    fi::set_data_end(rec, kMotionAreaStart);
    fi::set_index_pos(rec, file_size);
    fi::set_pic_word(rec, 0);
}

void count_picture(uint8_t *rec, const uint8_t *pic) {
    fi::set_event_nr(rec, uint16_t(fi::event_nr(rec) + 1));
    uint32_t m = pr::pic_chn(pic);
    size_t word = m < 64 ? 0 : 1;
    fi::set_pic_chn_mask(rec, word, fi::pic_chn_mask(rec, word) | chn_bit(m < 64 ? m : m - 64));
    uint32_t first = fi::start_time(rec), last = fi::end_time(rec);
    widen_range(&first, &last, pr::time(pic), pr::time(pic));
    fi::set_start_time(rec, first);
    fi::set_end_time(rec, last);
    add_to_day_map(rec, pr::time(pic), pr::type_mask(pic));
}

// Scans the blocks from the end of the file; the block that held "Pend"
// (1..32), 0 when none did, or -14 on a short read.
int scan_pictures(const RepairDataFile &f, uint8_t *rec, uint32_t file_size, MallocBuffer &block) {
    uint32_t n = records_per_block(file_size);
    for (int k = 1; k <= kPicBlocks; ++k) {
        uint64_t pos = file_size - uint64_t(k) * n * pr::kSize;
        if (!read_exact(f.fd(), block.data(), uint32_t(block.size()), f.base() + pos)) {
            rfs_log("read chn32 pic info failed\n");
            return RFS_ERR_INDEX_READ;
        }
        for (uint32_t i = n; i-- > 0;) {
            const uint8_t *pic = block.data() + size_t(i) * pr::kSize;
            if (pr::magic(pic) == kMagicPend) {
                fi::set_data_end(rec, pr::offset(pic));
                rfs_log("find PIC_END_MAGIC!\n");
                return k;
            }
            if (pr::magic(pic) == kMagicPict && pr::status(pic) != pr::kStatusDeleted)
                count_picture(rec, pic);
        }
    }
    return 0;
}

int repair_picture_file(RepairContext &ctx, uint32_t k, MallocBuffer &block) {
    uint8_t *rec = ctx.file_table + size_t(k) * fi::kSize;
    uint32_t file_size = effective_data_file_size(ctx.block->data_file_size());
    reset_summary(rec, file_size, false);
    fi::set_end_sequence(rec, ++ctx.max_end_sequence);
    RepairDataFile f;
    if (!f.open(ctx, k)) {
        rfs_log("open data file err!\n");
        return -1;
    }
    int found = scan_pictures(f, rec, file_size, block);
    if (found < 0) return found;
    // A marker in the last block counts on a NAS share but not on a raw disk.
    uint8_t flags = 0;
    if (found > 0 && (found < kPicBlocks || nas_mode())) {
        fi::set_index_pos(rec, file_size - uint32_t(pr::kSize) * fi::event_nr(rec));
    } else {
        rfs_log("can't find pic end index!\n");
        reset_summary(rec, file_size, true);
        flags = RFS_REPAIR_NO_END_MARKER;
    }
    if (write_closed_file_record(ctx, k, rec) != 0) {
        rfs_log("write file info failed\n");
        return RFS_ERR_INDEX_WRITE;
    }
    ++ctx.files_closed;
    RfsRepairAction a{};
    a.kind = RFS_REPAIR_PICTURE_FILE;
    a.flags = flags;
    a.partition = uint8_t(ctx.partition);
    a.file_no = uint16_t(k + 1);
    a.count = fi::event_nr(rec);
    a.end_sequence = fi::end_sequence(rec);
    unpack_time(fi::start_time(rec), &a.start);
    unpack_time(fi::end_time(rec), &a.end);
    repair_report_add(a);
    return 0;
}

} // namespace

int repair_picture_files(RepairContext &ctx) {
    uint32_t n = records_per_block(effective_data_file_size(ctx.block->data_file_size()));
    MallocBuffer block(size_t(n) * pr::kSize);
    if (!block) {
        rfs_log("pic info malloc failed\n");
        return RFS_ERR_NO_MEMORY;
    }
    for (uint32_t k = 0; k < ctx.file_nr; ++k) {
        const uint8_t *rec = ctx.file_table + size_t(k) * fi::kSize;
        if (fi::file_type(rec) != 1 || fi::end_sequence(rec) != fi::kOpenSequence) continue;
        int r = repair_picture_file(ctx, k, block);
        if (r != 0) return r;
    }
    return 0;
}

} // namespace rfs
