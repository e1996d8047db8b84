#include "repair/last_kframe.h"

#include <algorithm>
#include <cstdio>

#include "frame/log.h"
#include "frame/storage.h"
#include "frame/time.h"
#include "repair/repair.h"

namespace rfs {

namespace {

// Block i of the scan starts (i + 1) blocks below iframe_top. The index of a
// data file cannot reach below the file's start: a scan that gets there has
// not found the marker.
bool read_block(const RepairDataFile &f, uint32_t iframe_top, int i, uint8_t *block) {
    int64_t pos = int64_t(iframe_top) - int64_t(i + 1) * kKframeBlock;
    if (pos >= 0 && read_exact(f.fd(), block, kKframeBlock, f.base() + uint64_t(pos))) return true;
    if (pos >= 0) rfs_log("read iframe failed\n");
    return false;
}

// The highest slot of the block that holds "Iend", or -1.
int find_iend(const uint8_t *block) {
    for (int s = kKframeSlots - 1; s >= 0; --s)
        if (iframe_entry::tag(block + size_t(s) * iframe_entry::kSize) == kMagicIend) return s;
    return -1;
}

} // namespace

KframeSearch find_last_kframe(const RepairDataFile &f, const uint8_t *event, int blocks,
                              uint32_t file_size, uint8_t *block, LastKframe *out) {
    uint32_t top = index_event_info::iframe_top(event);
    // The index grows down from inside the data file; a top beyond its end
    // would have the scan read another file's index.
    if (top > file_size) blocks = 0;
    for (int i = 0; i < blocks; ++i) {
        if (int64_t(top) - int64_t(i + 1) * kKframeBlock < 0) break;
        if (!read_block(f, top, i, block)) return KframeSearch::read_failed;
        int s = find_iend(block);
        if (s < 0) continue;
        if (s == kKframeSlots - 1 && i == 0) {
            rfs_log("this is impossible,bad luck!\n");
            return KframeSearch::none;
        }
        int slot = s + 1;
        if (s == kKframeSlots - 1) { // the newest entry opens the block above
            --i;
            if (!read_block(f, top, i, block)) return KframeSearch::read_failed;
            slot = 0;
        }
        const uint8_t *entry = block + size_t(slot) * iframe_entry::kSize;
        std::copy(entry, entry + iframe_entry::kSize, out->entry);
        out->pos = top - uint32_t(i + 1) * kKframeBlock + uint32_t(iframe_entry::kSize * slot);
        return KframeSearch::found;
    }
    rfs_log("can't find last iframe\n");
    return KframeSearch::none;
}

int kframe_agrees(const RepairDataFile &f, const uint8_t *event, const LastKframe &kf, int chn) {
    namespace ev = index_event_info;
    uint32_t off = iframe_entry::iframe_offset(kf.entry);
    uint64_t end = uint64_t(off) + iframe_entry::iframe_length(kf.entry);
    bool placed = off >= ev::data_start(event) && end > off + frame_header::kSize - 1 &&
                  end <= kf.pos && iframe_entry::time(kf.entry) >= ev::start_time(event);
    if (!placed) {
        rfs_log("chn%d last iframe(%u, %u) out of event(%u, %u)\n", chn, off,
                iframe_entry::iframe_length(kf.entry), ev::data_start(event), kf.pos);
        return 0;
    }
    uint8_t head[frame_header::kSize];
    if (!read_exact(f.fd(), head, sizeof head, f.base() + off)) {
        std::perror("read_err");
        rfs_log("read iframe head err\n");
        return -1;
    }
    RfsDateTime t{};
    usec_to_datetime(&t, frame_header::timestamp_us(head));
    if (frame_header::tag(head) == kMagicQKFm && pack_time(t) == iframe_entry::time(kf.entry))
        return 1;
    rfs_log("chn%d last iframe disagrees with its frame, %u,%u\n", chn, pack_time(t),
            iframe_entry::time(kf.entry));
    return 0;
}

} // namespace rfs
