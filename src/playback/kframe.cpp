// Key frame by key frame: rfs_get_next_kframe, rfs_get_prev_kframe and
// rfs_get_current_kframe deliver one whole frame per call. A key frame whose
// reference frame was not the last one delivered takes two calls: the first
// returns the reference frame with its time, the second (whose step only
// counts the phase down) the key frame.
#include <algorithm>
#include <climits>
#include <cstring>

#include "disk/layout.h"
#include "frame/log.h"
#include "frame/time.h"
#include "playback/read_internal.h"

namespace rfs {

namespace {

void log_position(const ReadSession &s, int step) {
    const char *fmt = step > 0   ? "next_index_nu=%d, buf_index=(%d, %d)\n"
                      : step < 0 ? "prev_index_nu=%d, buf_index=(%d, %d)\n"
                                 : "cur_index_nu=%d, buf_index=(%d, %d)\n";
    rfs_log(fmt, s.cur_index, s.cache_first, s.cache_first + s.cache_count - 1);
}

// Later in time is a lower index number. The sum is kept inside int32 so any
// step the host gives just lands outside the event.
void move_index(ReadSession &s, int step) {
    int64_t n = int64_t(s.cur_index) - step;
    s.cur_index = int32_t(std::clamp<int64_t>(n, INT32_MIN, INT32_MAX));
}

// Picks the frame to deliver at the current entry: its position and length,
// or a negative code.
int choose_frame(ReadSession &s, const uint8_t *e, int len, RfsDateTime *frame_time,
                 uint32_t *pos, uint32_t *length) {
    uint32_t ref = iframe_entry::ref_offset(e), iframe = iframe_entry::iframe_offset(e);
    if (s.kf_phase == 2) {
        *pos = ref;
        *length = iframe_entry::ref_length(e);
        if (frame_time) unpack_time(iframe_entry::time(e), frame_time);
        s.kf_done = 0;
        return 0;
    }
    if (ref != iframe && s.last_ref_offset != ref) {
        rfs_log("ref i frame can't be readed' iframeLength = %d len = %d\n",
                iframe_entry::iframe_length(e), len);
        return RFS_ERR_FAILED;
    }
    *pos = iframe;
    *length = iframe_entry::iframe_length(e);
    s.kf_done = 1;
    return 0;
}

int walk_key_frames(int rd, void *buf, int len, unsigned *head_skip, int step,
                    RfsDateTime *frame_time) {
    if (!buf || !head_skip) {
        rfs_log("para err!\n");
        return RFS_ERR_NULL;
    }
    ReadSession &s = g_read_session[rd];
    bool moved = false;
    // Only a real step counts the phase down, but a phase at 0 means "move"
    // whatever the step: right after a seek (phase 0) a "current" call settles
    // on the chosen key frame and so delivers its reference frame first.
    if (step != 0) s.kf_phase = std::max(s.kf_phase - 1, 0); // every value <= 0 means "move"
    if (s.kf_phase == 0) {
        move_index(s, step);
        moved = true;
    }
    log_position(s, step);
    if (s.cur_index < s.first_index || s.cur_index > s.last_index) {
        rfs_log("chn%d read kf end!\n", s.chn);
        return 0;
    }
    if (!cache_holds(s, s.cur_index) && read_index_block(s, s.cur_index) != int(kIndexBlockSize)) {
        rfs_log("read err\n");
        return RFS_ERR_KFRAME_INDEX;
    }
    const uint8_t *e = cached_entry(s, s.cur_index);
    uint32_t ref = iframe_entry::ref_offset(e);
    bool has_ref = ref != iframe_entry::iframe_offset(e);
    if (moved) s.kf_phase = (!has_ref || s.last_ref_offset == ref) ? 1 : 2;
    uint32_t pos = 0, length = 0;
    if (int rc = choose_frame(s, e, len, frame_time, &pos, &length)) return rc;
    s.offset = pos;
    if (int64_t(length) > len) {
        rfs_log("iframe length is too long! iframeLength = %d len = %d\n",
                iframe_entry::iframe_length(e), len);
        return RFS_ERR_BUFFER;
    }
    if (!inside_event(s, pos)) {
        rfs_log("write data err\n");
        return RFS_ERR_FAILED;
    }
    int r = block_read(rd, s, buf, len, head_skip, length);
    if (r < 0) rfs_log("read data err!\n");
    if (has_ref && s.kf_phase != 2) return r;
    if (r >= 0) s.last_ref_offset = ref;
    return r;
}

int deliver_key_frame(int rd, void *buf, int len, unsigned *head_skip, int step,
                      RfsDateTime *frame_time) {
    if (frame_time) std::memset(frame_time, 0, sizeof *frame_time);
    int r = walk_key_frames(rd, buf, len, head_skip, step, frame_time);
    if (r < 0) rfs_log("find end!\n");
    return r;
}

bool bad_handle(int rd) { return unsigned(rd) > unsigned(kReadSessions - 1); }

} // namespace

} // namespace rfs

using namespace rfs;

extern "C" RFS_API int rfs_get_next_kframe(int rd, void *buf, int len, unsigned *head_skip,
                                           int step, RfsDateTime *frame_time) noexcept {
    if (bad_handle(rd) || step <= 0) {
        rfs_log("fs read start invalid fd!\n");
        return RFS_ERR_HANDLE;
    }
    return deliver_key_frame(rd, buf, len, head_skip, step, frame_time);
}

extern "C" RFS_API int rfs_get_prev_kframe(int rd, void *buf, int len, unsigned *head_skip,
                                           int step, RfsDateTime *frame_time) noexcept {
    if (bad_handle(rd) || step <= 0) {
        rfs_log("fs read start invalid fd!\n");
        return RFS_ERR_HANDLE;
    }
    return deliver_key_frame(rd, buf, len, head_skip, -step, frame_time);
}

extern "C" RFS_API int rfs_get_current_kframe(int rd, void *buf, int len, unsigned *head_skip,
                                              RfsDateTime *frame_time) noexcept {
    if (bad_handle(rd)) {
        rfs_log("fs read start invalid fd!\n");
        return RFS_ERR_HANDLE;
    }
    return deliver_key_frame(rd, buf, len, head_skip, 0, frame_time);
}
