// The picture-month reader: a picture file's PicMon_ block at 0x1000 and the
// table of per-picture dates it points to, read 512 KiB at a time.
#include <algorithm>

#include "disk/layout.h"
#include "disk/registry.h"
#include "frame/buffer.h"
#include "frame/log.h"
#include "frame/storage.h"
#include "search/calendar.h"
#include "search/scan.h"

namespace rfs {

namespace {

namespace pm = pic_mon;

bool read_buffer(int fd, uint8_t *buf, uint64_t pos, const ScanFile &f) {
    int got = storage_read(fd, buf, pm::kBufferSize, pos);
    if (got == int(pm::kBufferSize)) return true;
    // What a short read left in the buffer is not the table: stop here.
    rfs_log("read %s/file%d err,cnt:%d\n", f.disk->path, f.index, got);
    return false;
}

// The block is used when it is one, covers the month and names a table. The
// table must start inside the first buffer, at or after the block, and an
// entry must hold its date: the entries are then read without ever leaving
// the buffer, whatever the count says.
bool block_accepted(const uint8_t *b, PackedTime key) {
    uint32_t off = pm::pic_mon_offset(b), size = pm::pic_mon_size(b);
    return pm::magic_ok(b) && month_key(pm::pic_start(b)) <= key &&
           key <= month_key(pm::pic_end(b)) && pm::writted_count(b) != 0 &&
           off >= pm::kBlockPos && off <= pm::kBufferSize && size >= pm::kEntryMinSize &&
           size <= pm::kBufferSize;
}

void mark_entry(const uint8_t *e, const RfsSearchParam &p, RfsMonthResult *out) {
    uint8_t day = pm::entry_day(e);
    if (pm::entry_year(e) == int(p.start.year) && pm::entry_month(e) == p.start.month && day < 31)
        out->day_types[day] = 1; // the day byte is the index as it stands
}

// Walks the entries: the first buffer is counted from the table's offset as
// if the buffer began at the file's start, each later buffer is read right
// after the last entry taken and holds kBufferSize / size entries.
void mark_entries(int fd, uint8_t *buf, uint64_t pos, const ScanFile &f,
                  const RfsSearchParam &p, RfsMonthResult *out) {
    uint32_t off = pm::pic_mon_offset(buf), size = pm::pic_mon_size(buf);
    uint32_t left = pm::writted_count(buf);
    size_t at = off - pm::kBlockPos;
    size_t fit = (pm::kBufferSize - off) / size;
    for (int n = 1;; ++n) {
        size_t take = std::min<size_t>(fit, left);
        for (size_t i = 0; i < take; ++i) mark_entry(buf + at + i * size, p, out);
        left -= uint32_t(take);
        if (left == 0 || n == pm::kMaxBuffers) return;
        pos += at + take * size;
        if (!read_buffer(fd, buf, pos, f)) return;
        at = 0;
        fit = pm::kBufferSize / size;
    }
}

} // namespace

void read_pic_month(const ScanFile &f, const RfsSearchParam &p, RfsMonthResult *out) {
    uint64_t block_pos = data_file_pos(f, pm::kBlockPos);
    FdGuard own;
    int fd = f.index_fd;
    if (nas_mode()) {
        own.reset(open_scan_data_file(f));
        if (own.get() < 0) return;
        fd = own.get();
    }
    MallocBuffer buf(pm::kBufferSize);
    if (!buf) {
        rfs_log("malloc err!\n");
        return;
    }
    if (!read_buffer(fd, buf.data(), block_pos, f)) return;
    const uint8_t *b = buf.data();
    if (!block_accepted(b, month_key(pack_time(p.start)))) {
        rfs_log("file%d, addr64=%lld,pic_start=%d,pic_end=%d,pic_mon_offset=%d,pic_mon_size=%d,"
                "writted_count%d!\n",
                f.index, (long long)block_pos, int(pm::pic_start(b)), int(pm::pic_end(b)),
                int(pm::pic_mon_offset(b)), int(pm::pic_mon_size(b)), int(pm::writted_count(b)));
        return;
    }
    mark_entries(fd, buf.data(), block_pos, f, p, out);
}

} // namespace rfs
