// The most-recent-N search: the event collection run one day at a time,
// backwards from the day of the caller's end.
#include <algorithm>

#include "disk/registry.h"
#include "frame/log.h"
#include "frame/time.h"
#include "frame/state.h"
#include "search/collect.h"

namespace rfs {

namespace {

// A date-time as two words compared high word first: the date, then the time
// of day with the record's unused first byte as its least significant part.
uint64_t datetime_order(const RfsDateTime &t) {
    uint32_t high = uint32_t(t.day) | uint32_t(t.month) << 8 | uint32_t(t.year) << 16;
    uint32_t low = uint32_t(t.unused) | uint32_t(t.second) << 8 | uint32_t(t.minute) << 16 |
                   uint32_t(t.hour) << 24;
    return uint64_t(high) << 32 | low;
}

bool earlier(const RfsDateTime &a, const RfsDateTime &b) {
    return datetime_order(a) < datetime_order(b);
}

// The oldest recording over all partitions; an empty partition (start 0)
// hands the minimum over to the partitions after it.
RfsDateTime earliest_recording() {
    PackedTime first = 0;
    for (int id = 0; id < kMaxDisks; ++id) {
        const disk_info_t *d = pg_disk_list[id];
        if (!d) continue;
        int parts = std::min<int>(d->param.part_count(), kMaxPartitions);
        for (int p = 0; p < parts; ++p) {
            PackedTime start = d->partition[p].record_start();
            if (first == 0 || first > start) first = start;
        }
    }
    RfsDateTime t{};
    unpack_time(first, &t);
    return t;
}

// Steps start and end one day back. Day and month fields pass through 0 and
// are searched as they are: only a day already at 0 wraps to 31 of the month
// before, and only month 0 wraps to 12 of the year before. False when the
// year would fall below 2000, where no packed time lies.
bool step_one_day_back(RfsDateTime &start, RfsDateTime &end) {
    if (end.day != 0) {
        --start.day;
        --end.day;
        return true;
    }
    start.day = end.day = 31;
    if (end.month != 0) {
        --start.month;
        --end.month;
        return true;
    }
    if (end.year == 0 || start.year == 0) return false;
    start.month = end.month = 12;
    --start.year;
    --end.year;
    return true;
}

int collect_day(uint32_t handle, RfsSearchParam *param) {
    if (collect_events(handle, param) >= 0) return 0;
    rfs_log("find_rec_event QKERROR\n");
    return -1;
}

} // namespace

int find_recent_events(uint32_t handle, RfsSearchParam *param, int32_t num) {
    rfs_log("@@@@@@@@@@@@find rec event num\n");
    RfsDateTime first = earliest_recording();
    if (!earlier(first, param->end)) {
        rfs_log("search time err\n");
        return -1;
    }
    RfsDateTime lower = param->start;
    lower.unused = 0;
    param->start = param->end;
    param->start.hour = param->start.minute = param->start.second = 0;
    if (collect_day(handle, param)) return -1;
    const int32_t &found = g_search[handle].data_len[0];
    rfs_log("g_search[rd].data_len[0] = %d\n", found);
    param->end.hour = 23;
    param->end.minute = 59;
    param->end.second = 59;
    while (found < num) {
        if (earlier(param->start, first) || earlier(param->start, lower)) return 0;
        if (!step_one_day_back(param->start, param->end)) return 0;
        if (collect_day(handle, param)) return -1;
    }
    return 0;
}

} // namespace rfs
