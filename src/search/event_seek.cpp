// rfs_event_seek: places a channel's cursor on the event that covers a moment,
// searching forward or backward from a look-back point one hour earlier.
#include <algorithm>

#include "frame/hour_back.h"
#include "frame/log.h"
#include "frame/time.h"
#include "search/event_order.h"
#include "search/navigate.h"

namespace rfs {

namespace {

constexpr int32_t kLookBackRecords = 100;

struct SeekRange {
    PackedTime s; // the moment
    PackedTime e; // the end of the seek range
    PackedTime f; // find-start time: an hour before s, or 00:00:00 of its day
};

struct SeekResult {
    int32_t found = -1;   // r
    int32_t find_to = -1; // where the cursor goes
};

// One hour back in local time, but never into the day before.
RfsDateTime find_start_time(const RfsDateTime &t) {
    int secs = t.hour * 3600 + t.minute * 60 + t.second;
    return secs < 3600 ? start_of_day_local(t) : one_hour_back(t);
}

SeekResult seek_forward(const RfsDateTime &from, const SeekRange &q, const RfsEvent *list,
                        int32_t n) {
    int32_t i = event_binary_search(&from, list, n, 0);
    rfs_log("find_start:%d\n", i);
    SeekResult r;
    for (i = std::max(i, 0); i < n; ++i) {
        if (event_start(list[i]) > q.e) break;
        if (!list[i].covered && q.s <= event_end(list[i])) {
            r.found = i;
            break;
        }
    }
    // The moment falls before the event found: a slightly earlier event may
    // still run over it.
    if (r.found > 0 && q.s < event_start(list[r.found])) {
        int32_t stop = std::max(0, r.found - kLookBackRecords);
        for (int32_t j = r.found - 1; j > stop; --j) {
            if (!list[j].covered && event_end(list[j]) >= q.s) {
                r.found = j;
                break;
            }
        }
    }
    r.find_to = r.found >= 0 ? r.found : i;
    return r;
}

SeekResult seek_backward(const RfsDateTime &seek_end, const SeekRange &q, const RfsEvent *list,
                         int32_t n, int32_t flag) {
    int32_t i = event_binary_search(&seek_end, list, n, flag);
    rfs_log("find_start:%d\n", i);
    SeekResult r;
    for (; i >= 0; --i) {
        const RfsEvent &ev = list[i];
        if (event_start(ev) >= q.f) {
            if (!ev.covered && event_end(ev) >= q.s) r.found = i;
        } else if (event_end(ev) > q.e) {
            r.found = i; // the covered mark is not looked at here
        } else {
            break;
        }
        if (r.found >= 0) break;
    }
    r.find_to = i;
    return r;
}

} // namespace

int32_t event_binary_search(const RfsDateTime *key, const RfsEvent *list, int32_t n,
                            int32_t flag) {
    PackedTime k = pack_time(*key);
    if (k < event_start(list[0])) return -1;
    if (k >= event_start(list[n - 1])) return n - 1;
    int32_t low = 0, high = n - 1;
    while (low < high - 1) {
        int32_t mid = (low + high) / 2;
        rfs_log("!!!!!!!!!!!!\n");
        if (k >= event_start(list[mid])) low = mid;
        else high = mid;
    }
    rfs_log("low = %d, high = %d\n", low, high);
    if (flag == 0) return low;
    return k >= event_start(list[high]) ? high : low;
}

} // namespace rfs

using namespace rfs;

extern "C" RFS_API int rfs_event_seek(uint32_t handle, int32_t chn, RfsDateTime *seek_time,
                                      RfsDateTime *seek_end, int32_t backward) noexcept {
    if (handle >= uint32_t(kSearchSessions)) {
        rfs_log("invalid handel\n");
        return RFS_ERR_HANDLE;
    }
    if (chn < 0 || chn >= max_rec_chn) {
        rfs_log("invalid chn\n");
        return RFS_ERR_CHANNEL;
    }
    SearchSession *s;
    if (int r = channel_list(handle, chn, &s)) return r;
    if (!seek_time || !seek_end) return RFS_ERR_NULL; // nothing to seek to

    const RfsDateTime &t = *seek_time, &e = *seek_end;
    rfs_log("event_seek_time:[%d/%d/%d %d:%d:%d]-[%d/%d/%d %d:%d:%d]\n", t.year, t.month, t.day,
            t.hour, t.minute, t.second, e.year, e.month, e.day, e.hour, e.minute, e.second);
    RfsDateTime b = find_start_time(t);
    rfs_log("find_start_time:[%d/%d/%d %d:%d:%d]\n", b.year, b.month, b.day, b.hour, b.minute,
            b.second);

    SeekRange q{pack_time(t), pack_time(e), pack_time(b)};
    const RfsEvent *list = s->event_list[chn];
    int32_t n = s->data_len[chn];
    SeekResult r = backward ? seek_backward(e, q, list, n, backward) : seek_forward(b, q, list, n);
    rfs_log("find_to:%d\n", r.find_to);
    if (r.found < 0) return RFS_ERR_SEEK_NOT_FOUND;
    s->event_cursor[chn] = r.find_to;
    rfs_log("event_seek_no:%d\n", r.found);
    return 0;
}
