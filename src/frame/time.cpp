#include "frame/time.h"

#include <ctime>

namespace rfs {

namespace {
void write_fields(const struct tm &tm, RfsDateTime *out) {
    out->second = uint8_t(tm.tm_sec);
    out->minute = uint8_t(tm.tm_min);
    out->hour = uint8_t(tm.tm_hour);
    out->day = uint8_t(tm.tm_mday);
    out->month = uint8_t(tm.tm_mon + 1);
    out->year = uint16_t(tm.tm_year - 100);
}

// Broken-down form of a recorder wall-clock time, daylight saving off.
struct tm broken_down(const RfsDateTime &t) {
    struct tm tm {};
    tm.tm_sec = t.second;
    tm.tm_min = t.minute;
    tm.tm_hour = t.hour;
    tm.tm_mday = t.day;
    tm.tm_mon = t.month - 1;
    tm.tm_year = t.year + 100;
    tm.tm_isdst = 0;
    return tm;
}
} // namespace

int usec_to_datetime(RfsDateTime *out, int64_t usec) {
    struct tm tm {}; // stays all zero when the value cannot be converted
    time_t secs = time_t(usec / 1000000);
    gmtime_r(&secs, &tm);
    write_fields(tm, out);
    return 0;
}

int64_t local_datetime_to_time(const RfsDateTime &t) {
    struct tm tm = broken_down(t);
    return int64_t(mktime(&tm));
}

void time_to_local_datetime(int64_t secs, RfsDateTime *out) {
    struct tm tm {};
    time_t value = time_t(secs);
    localtime_r(&value, &tm);
    write_fields(tm, out);
}

RfsDateTime one_hour_back_local(const RfsDateTime &t) {
    RfsDateTime back = t;
    time_to_local_datetime(local_datetime_to_time(t) - 3600, &back);
    return back;
}

RfsDateTime start_of_day_local(const RfsDateTime &t) {
    RfsDateTime day = t;
    day.hour = day.minute = day.second = 0;
    return day;
}

int64_t datetime_as_utc_seconds(const RfsDateTime &t) {
    int64_t t1 = local_datetime_to_time(t);
    time_t as_time = time_t(t1);
    struct tm utc {};
    gmtime_r(&as_time, &utc);
    utc.tm_isdst = 0;
    int64_t t2 = int64_t(mktime(&utc));
    return 2 * t1 - t2;
}

} // namespace rfs
