// The most-recent-N search: the event collection run one day at a time,
// backwards from the day of the caller's end (or of the newest recording).
#include <algorithm>

#include "disk/registry.h"
#include "frame/log.h"
#include "frame/time.h"
#include "frame/state.h"
#include "search/collect.h"
#include "search/scan_filters.h"

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

// The oldest and the newest recording over all partitions of the mounted
// disks. An empty partition (start 0) has no say in the oldest; without any
// recording `found` stays false. Every end counts toward the newest: a range
// from 0 still meets the days up to its end.
struct RecordedSpan {
    bool found = false;
    RfsDateTime first{}, last{};
};

RecordedSpan recorded_span() {
    PackedTime first = 0, last = 0;
    for (const disk_info_t *d : pg_disk_list) {
        int parts = d ? std::min<int>(d->param.part_count(), kMaxPartitions) : 0;
        for (int p = 0; p < parts; ++p) {
            const PartitionRecord &part = d->partition[p];
            last = std::max(last, part.record_end());
            if (part.record_start() == 0) continue;
            if (first == 0 || first > part.record_start()) first = part.record_start();
        }
    }
    RecordedSpan span;
    span.found = first != 0;
    unpack_time(first, &span.first);
    unpack_time(last, &span.last);
    return span;
}

// Whether some mounted partition's record range meets the day in param: a
// day none meets would be scanned for nothing.
bool day_recorded(const RfsSearchParam &param) {
    ScanSettings s;
    s.start = pack_time(param.start);
    s.end = pack_time(param.end);
    for (const disk_info_t *d : pg_disk_list) {
        int parts = d ? std::min<int>(d->param.part_count(), kMaxPartitions) : 0;
        for (int p = 0; p < parts; ++p)
            if (partition_selected(s, d->partition[p])) return true;
    }
    return false;
}

void set_date(RfsDateTime &t, const RfsDateTime &date) {
    t.year = date.year;
    t.month = date.month;
    t.day = date.day;
}

void set_time_of_day(RfsDateTime &t, uint8_t hour, uint8_t minute, uint8_t second) {
    t.hour = hour;
    t.minute = minute;
    t.second = second;
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

int collect_day(uint32_t handle, RfsSearchParam *param, CollectScratch &scratch) {
    if (collect_events(handle, param, scratch) >= 0) return 0;
    rfs_log("find_rec_event QKERROR\n");
    return -1;
}

} // namespace

// The walk is bounded by the recordings: it starts no later than the day of
// the newest one (an end the host gives after it, even one in a year no
// packed time can hold, would only add days that hold nothing) and ends
// before the day of the oldest, so it takes at most one pass per recorded
// day, with one set of scratch for all of them.
int find_recent_events(uint32_t handle, RfsSearchParam *param, int32_t num) {
    rfs_log("@@@@@@@@@@@@find rec event num\n");
    RecordedSpan span = recorded_span();
    if (!span.found || !earlier(span.first, param->end)) {
        rfs_log("search time err\n");
        return -1;
    }
    CollectScratch scratch;
    if (scratch.allocate() != 0) {
        rfs_log("find_rec_event QKERROR\n");
        return -1;
    }
    RfsDateTime lower = param->start;
    lower.unused = 0;
    if (earlier(span.last, param->end)) {
        set_date(param->end, span.last);
        set_time_of_day(param->end, 23, 59, 59);
    }
    param->start = param->end;
    set_time_of_day(param->start, 0, 0, 0);
    if (collect_day(handle, param, scratch)) return -1;
    const int32_t &found = g_search[handle].data_len[0];
    rfs_log("g_search[rd].data_len[0] = %d\n", found);
    set_time_of_day(param->end, 23, 59, 59);
    while (found < num) {
        if (earlier(param->start, span.first) || earlier(param->start, lower)) return 0;
        if (!step_one_day_back(param->start, param->end)) return 0;
        if (day_recorded(*param) && collect_day(handle, param, scratch)) return -1;
    }
    return 0;
}

} // namespace rfs
