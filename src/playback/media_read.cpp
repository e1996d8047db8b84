// rfs_read: the event's stored stream, block after block. A key frame that
// needs a separately stored reference frame gets that frame delivered first
// (with its time), then reading goes on from the key frame.
#include <algorithm>
#include <cstring>

#include "disk/layout.h"
#include "frame/log.h"
#include "frame/time.h"
#include "playback/read_internal.h"

namespace rfs {

namespace {

// Reference frames are stored padded to 8 bytes.
uint64_t reference_end(const uint8_t *e) {
    return uint64_t(iframe_entry::ref_offset(e)) + ((uint64_t(iframe_entry::ref_length(e)) + 7) & ~7ull);
}

// The reference frame of the current key frame, while it is still due. A
// result to hand back, or 0 to go on with the data that follows.
int reference_prefix(int rd, ReadSession &s, void *buf, int len, unsigned *head_skip,
                     RfsDateTime *frame_time) {
    if (s.kf_done == 1) return 0;
    if (s.cur_index < s.first_index || s.cur_index > s.last_index) {
        rfs_log("chn%d read kf end!\n", s.chn);
        return RFS_ERR_FAILED;
    }
    if (!cache_holds(s, s.cur_index)) {
        rfs_log("!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!read iframe\n");
        // Only a whole block is used, even when the cache was marked empty
        // before: a partial one would mix in entries of another block.
        if (read_index_block(s, s.cur_index) != int(kIndexBlockSize)) {
            rfs_log("read err\n");
            return RFS_ERR_KFRAME_INDEX;
        }
    }
    const uint8_t *e = cached_entry(s, s.cur_index);
    uint32_t ref = iframe_entry::ref_offset(e), iframe = iframe_entry::iframe_offset(e);
    uint64_t ref_end = reference_end(e);
    if (ref == iframe || iframe_entry::ref_length(e) == 0 || s.offset > ref_end) {
        s.kf_done = 0;
        return 0;
    }
    // The entry is untrusted: both frames it names must lie in the event.
    if (!inside_event(s, ref) || !inside_event(s, iframe)) {
        rfs_log("write data err\n");
        return RFS_ERR_FAILED;
    }
    s.offset = std::max(s.offset, ref);
    if (frame_time && s.offset == ref) unpack_time(iframe_entry::time(e), frame_time);
    if (s.offset == ref_end && s.data_start == ref) s.offset = ref;
    int64_t want = std::min<int64_t>(len, int64_t(ref_end) - s.offset);
    int r = block_read(rd, s, buf, len, head_skip, want);
    if (r < 0 || (r > 0 && s.offset < ref_end)) return r;
    s.offset = iframe;
    s.kf_done = 1;
    return r;
}

int read_session_data(int rd, ReadSession &s, void *buf, int len, unsigned *head_skip,
                      RfsDateTime *frame_time) {
    int r = reference_prefix(rd, s, buf, len, head_skip, frame_time);
    if (r != 0) return r;
    return block_read(rd, s, buf, len, head_skip, 0);
}

} // namespace

} // namespace rfs

using namespace rfs;

extern "C" RFS_API int rfs_read(int rd, void *buf, int len, unsigned *head_skip,
                                RfsDateTime *frame_time) noexcept {
    if (unsigned(rd) > unsigned(kReadSessions - 1)) {
        rfs_log("fs read start invalid fd!fd:%d\n", rd);
        return RFS_ERR_HANDLE;
    }
    if (!buf || !head_skip) {
        rfs_log("buf err!\n");
        return RFS_ERR_NULL;
    }
    ReadSession &s = g_read_session[rd];
    if (!s.in_use) {
        rfs_log("rd=%d not use!\n", rd);
        return RFS_ERR_HANDLE;
    }
    if (frame_time) std::memset(frame_time, 0, sizeof *frame_time);
    int r = read_session_data(rd, s, buf, len, head_skip, frame_time);
    if (r < 0) rfs_log("read data err!\n");
    return r;
}
