// rfs_get_first_iframe: which is the first key frame of a channel at or after
// a start time and not after an end time. A private search of the channel's
// day stays open between calls, so further lookups on that channel and day
// do not search again.
#include <algorithm>

#include "frame/buffer.h"
#include "frame/log.h"
#include "frame/state.h"
#include "playback/first_iframe.h"
#include "search/collect.h"
#include "search/event_order.h"
#include "search/navigate.h"
#include "search/session.h"

namespace rfs {

namespace {

int g_slice_handle = -1; // the private search; -17 after "have no g_output"
uint32_t g_slice_serial = 0; // its session's serial when made, to know it is still ours
int g_last_chn = -1;
int g_last_day = -1;

int day_key(const RfsDateTime &t) { return (int(t.year) * 10000 + t.month) * 100 + t.day; }

// The private search while it is still ours: the host may have stopped it
// (rfs_find_stop), rfs_exit may have freed it, and the session may now serve
// another search, even one whose list landed at the same address.
const SearchSession *private_search() {
    if (g_slice_handle < 0 || g_slice_handle >= kSearchSessions) return nullptr;
    const SearchSession &s = g_search[g_slice_handle];
    if (s.state == 0 || !s.event_list || s.serial != g_slice_serial) return nullptr;
    return &s;
}

void drop_private_search() {
    if (private_search()) release_search_session(uint32_t(g_slice_handle));
    g_slice_handle = -1;
    g_slice_serial = 0;
}

int fail_search(int chn, int code) {
    g_slice_handle = code;
    rfs_log("chn%d find err\n", chn);
    return -1;
}

int new_search(int chn, RfsDateTime start, RfsDateTime end, bool whole_days) {
    MallocBuffer bits(size_t(max_rec_chn + 7) / 8, true);
    if (!bits) {
        rfs_log("malloc failed\n");
        return -1;
    }
    bits.data()[chn / 8] = uint8_t(1u << (chn % 8));
    if (!g_rfs_inited) {
        rfs_log("rfs system is not init!!!\n");
        return fail_search(chn, -1);
    }
    int h = claim_search_session(0);
    if (h < 0) {
        rfs_log("have no g_output\n");
        return fail_search(chn, RFS_ERR_NO_SEARCH_SESSION);
    }
    RfsSearchParam p{};
    p.search_type = 3;
    p.chnCnt = max_rec_chn;
    p.record_type = 0x00000000FFFFFFFFull;
    p.chnBit = bits.data();
    p.start = start;
    p.end = end;
    if (whole_days) {
        p.start.hour = p.start.minute = p.start.second = 0;
        p.end.hour = 23;
        p.end.minute = p.end.second = 59;
    }
    dump_search_param(&p);
    int r = collect_events(uint32_t(h), &p);
    if (r < 0) {
        release_search_session(uint32_t(h));
        rfs_log("err\n");
        return fail_search(chn, r);
    }
    g_slice_handle = h;
    g_slice_serial = g_search[h].serial;
    rfs_log("chn%d,g_slice_handle=%d, EveNr=%d\n", chn, h, g_search[h].data_len[chn]);
    return 0;
}

// The event to start from: the last one starting at or before `start`,
// stepped back over events that end before it.
int32_t first_candidate(const RfsEvent *list, int32_t n, const RfsDateTime &start) {
    int32_t i = std::max(event_binary_search(&start, list, n, 0), 0);
    while (i != 0 && i != n - 1 && event_end(list[i]) < pack_time(start)) --i;
    return i;
}

} // namespace

} // namespace rfs

using namespace rfs;

extern "C" RFS_API int rfs_get_first_iframe(int chn, RfsDateTime start, RfsDateTime end, void **buf,
                                            int *len) noexcept {
    PackedTime s = pack_time(start), e = pack_time(end);
    if (s > e || chn < 0 || chn >= max_rec_chn) {
        rfs_log("chn%d,start_time=%d,end_time=%d,err\n", chn, int(s), int(e));
        return -1;
    }
    if (!buf || !len) return -1;
    bool same_day = chn == g_last_chn && day_key(start) == g_last_day;
    if (!same_day || !private_search()) {
        drop_private_search();
        if (new_search(chn, start, end, !same_day) != 0) return -1;
    }
    g_last_chn = chn;
    g_last_day = day_key(start);
    const SearchSession *ss = private_search();
    if (!ss || ss->data_len[chn] <= 0) return -1;
    const RfsEvent *list = ss->event_list[chn];
    int32_t n = ss->data_len[chn];
    int32_t i = first_candidate(list, n, start);
    for (; i < n && pack_time(list[i].start) <= e; ++i) {
        if (list[i].covered || event_end(list[i]) < s) continue;
        if (event_first_iframe(list[i], s, e, buf, len) == 0) return 0;
        break;
    }
    const RfsEvent &last = list[std::min(i, n - 1)];
    rfs_log("no find,chn%d, event%d, seek-time:(%d-%d-%d/%d:%d:%d), find:(%d-%d-%d/%d:%d:%d, "
            "%d-%d-%d/%d:%d:%d)\n",
            chn, int(i), start.year, start.month, start.day, start.hour, start.minute, start.second,
            last.start.year, last.start.month, last.start.day, last.start.hour, last.start.minute,
            last.start.second, last.end.year, last.end.month, last.end.day, last.end.hour,
            last.end.minute, last.end.second);
    return -1;
}
