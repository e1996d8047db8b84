// rfs_read_moarea_oneday, rfs_read_moarea, rfs_read_moarea_stop.
#include <cstdlib>

#include "disk/registry.h"
#include "frame/log.h"
#include "frame/state.h"
#include "repair/moarea_read.h"

namespace rfs {

namespace {

constexpr uint32_t kQuietStart = 4176; // a range starting here is passed over silently

// A range the recorder could have written: inside the motion area, start
// before end. Nothing outside it is read.
bool range_in_area(const RfsEvent &e, const disk_info_t &d) {
    uint32_t s = e.stored_word28, end = e.stored_word56;
    if (s <= end && s >= kMotionAreaStart && end <= motion_area_end(d.param.data_file_size()))
        return true;
    if (s != kQuietStart) rfs_log("write moarea err, range(%d-%d)\n", int(s), int(end));
    return false;
}

// The search session's copy of the event, whose covered mark counts; the
// host's own record when the session no longer holds it.
const uint8_t *covered_mark(const RfsEvent &e) {
    if (e.handle >= kSearchSessions || e.list_chn >= max_rec_chn) return &e.covered;
    const SearchSession &s = g_search[e.handle];
    if (s.state == 0 || !s.event_list || !s.event_list[e.list_chn] ||
        e.sequence >= uint32_t(s.data_len[e.list_chn]))
        return &e.covered;
    return &s.event_list[e.list_chn][e.sequence].covered;
}

int oneday_checks(int handle, int chn) {
    if (unsigned(handle) > unsigned(kSearchSessions - 1)) {
        rfs_log("invalid handel\n");
        return RFS_ERR_HANDLE;
    }
    if (chn < 0 || chn >= max_rec_chn) {
        rfs_log("invalid chn\n");
        return RFS_ERR_CHANNEL;
    }
    const SearchSession &s = g_search[handle];
    if (s.state == 0) {
        rfs_log("%d handle isn't exist\n", handle);
        return RFS_ERR_SEARCH_HANDLE;
    }
    if (s.data_len[chn] == 0 || !s.event_list[chn]) {
        rfs_log("chn%d have not search or no event\n", chn);
        return RFS_ERR_NO_EVENTS;
    }
    return 0;
}

bool scratch(MallocBuffer *chunk) {
    if (chunk->allocate(kMoareaChunk)) return true;
    rfs_log("malloc err, len:%d\n", int(kMoareaChunk));
    return false;
}

} // namespace

} // namespace rfs

using namespace rfs;

extern "C" RFS_API int rfs_read_moarea_oneday(int handle, int chn, const uint8_t *area_mask,
                                              int min_gap, MoareaResult *out) noexcept {
    int r = oneday_checks(handle, chn);
    if (r != 0) return r;
    if (!area_mask || !out) return RFS_ERR_NULL;
    SegmentList segments(out);
    MallocBuffer chunk;
    if (!scratch(&chunk)) return RFS_ERR_NO_MEMORY;
    const SearchSession &s = g_search[handle];
    MotionQuery q{area_mask, min_gap, &segments, &chunk};
    for (int32_t i = 0; i < s.data_len[chn]; ++i) {
        const RfsEvent &e = s.event_list[chn][i];
        const disk_info_t *d = moarea_disk(e);
        if (e.stored_word28 == e.stored_word56 || !d) continue;
        if (d->partition[(e.record_id >> 16) & 0xFF].part_state() >= 2) continue;
        if (!range_in_area(e, *d)) continue;
        r = read_event_motion(e, *d, &e.covered, q);
        if (r == RFS_ERR_NO_MEMORY) return r;
        if (r == RFS_ERR_OPEN) rfs_log("open %s err\n", d->path);
    }
    return 0;
}

extern "C" RFS_API int rfs_read_moarea(const uint8_t *area_mask, const RfsEvent *event,
                                       int min_gap, MoareaResult *out) noexcept {
    if (!area_mask || !event || !out) return RFS_ERR_NULL;
    SegmentList segments(out);
    MallocBuffer chunk;
    if (!scratch(&chunk)) return RFS_ERR_NO_MEMORY;
    const disk_info_t *d = moarea_disk(*event);
    if (!d) return RFS_ERR_NO_DISK;
    if (event->stored_word28 < event->stored_word56 && !range_in_area(*event, *d)) return 0;
    int r = read_event_motion(*event, *d, covered_mark(*event),
                              MotionQuery{area_mask, min_gap, &segments, &chunk});
    if (r == RFS_ERR_OPEN) rfs_log("open err\n");
    if (r != 0) segments.drop();
    return r;
}

extern "C" RFS_API int rfs_read_moarea_stop(MoareaResult *out) noexcept {
    if (out && out->segments) {
        std::free(out->segments);
        out->segments = nullptr;
    }
    return 0;
}
