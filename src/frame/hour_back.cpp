#include "frame/hour_back.h"

#include <ctime>

#include "frame/time.h"

namespace rfs {

namespace {

// What is known of the hours of a few recent days; a seek works within the
// days a search covered, so they stay here. Replaced round-robin.
constexpr int kDays = 16;

struct DayHours {
    uint32_t day = 0;   // day_key of the date; 0: unused
    uint32_t known = 0; // bit h: hour h was looked at
    uint32_t plain = 0; // bit h: hour h is plain (see hour_is_plain)
};

DayHours g_days[kDays];
int g_next_day = 0;

// Minute and second carry nothing into the hour, and the hour names a bit of
// DayHours. Any other field the conversion would carry (a day 31 in April)
// makes the hour's ends come out as other fields, so it is not plain.
bool fields_in_range(const RfsDateTime &t) {
    return t.hour <= 23 && t.minute <= 59 && t.second <= 59;
}

// One key per date as given, whatever its fields (the all-zero one matches an
// unused entry, which is then simply filled).
uint32_t day_key(const RfsDateTime &t) {
    return uint32_t(t.year) << 16 | uint32_t(t.month) << 8 | uint32_t(t.day);
}

DayHours &day_of(const RfsDateTime &t) {
    const uint32_t key = day_key(t);
    for (DayHours &d : g_days)
        if (d.day == key) return d;
    DayHours &d = g_days[g_next_day];
    g_next_day = (g_next_day + 1) % kDays;
    d = {key, 0, 0};
    return d;
}

RfsDateTime at(const RfsDateTime &t, int hour, int minute, int second) {
    RfsDateTime r = t;
    r.hour = uint8_t(hour);
    r.minute = uint8_t(minute);
    r.second = uint8_t(second);
    return r;
}

bool same_fields(const RfsDateTime &a, const RfsDateTime &b) {
    return a.year == b.year && a.month == b.month && a.day == b.day && a.hour == b.hour &&
           a.minute == b.minute && a.second == b.second;
}

// Whether, for every minute and second of t's hour, the calendar arithmetic
// gives plainly the same minute and second of the hour before: the hour's
// 3600 seconds convert to 3600 consecutive seconds, and the 3600 seconds one
// hour earlier are local times hh-1:00:00 .. hh-1:59:59 of the same day.
// (Between the ends no clock change can hide: one would shift an end.) The
// conversion reads the fields as standard time, so the first condition only
// fails where a zone's standard offset itself changes inside the hour.
bool hour_is_plain(const RfsDateTime &t) {
    const int h = t.hour;
    int64_t first = local_datetime_to_time(at(t, h, 0, 0));
    int64_t last = local_datetime_to_time(at(t, h, 59, 59));
    if (last - first != 3599) return false;
    RfsDateTime before_first = t, before_last = t;
    time_to_local_datetime(first - 3600, &before_first);
    time_to_local_datetime(first - 1, &before_last);
    return same_fields(before_first, at(t, h - 1, 0, 0)) &&
           same_fields(before_last, at(t, h - 1, 59, 59));
}

} // namespace

RfsDateTime one_hour_back(const RfsDateTime &t) {
    if (!fields_in_range(t)) return one_hour_back_local(t);
    DayHours &d = day_of(t);
    const uint32_t bit = 1u << t.hour;
    if (!(d.known & bit)) {
        d.known |= bit;
        if (hour_is_plain(t)) d.plain |= bit;
    }
    if (!(d.plain & bit)) return one_hour_back_local(t);
    RfsDateTime back = t;
    back.hour = uint8_t(t.hour - 1);
    return back;
}

void forget_local_hours() {
    for (DayHours &d : g_days) d = {};
}

} // namespace rfs
