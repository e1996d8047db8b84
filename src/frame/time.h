// The three time representations: the packed 32-bit word stored on disk, the
// host's 8-byte RfsDateTime, and microseconds since 1970 UTC in frame headers.
#pragma once

#include <cstdint>

#include "rfs.h"

namespace rfs {

// (year - 2000) << 26 | month << 22 | day << 17 | hour << 12 | minute << 6 | second.
// Packed words order in time as unsigned integers.
using PackedTime = uint32_t;

constexpr PackedTime kNoTimeYet = 0xFFFFFFFFu;

// The year and month of a packed time, day and time of day cleared: the key
// the month searches compare.
constexpr PackedTime month_key(PackedTime t) { return t & 0xFFC00000u; }
// Fields of a packed time, as the bits hold them (no range check).
constexpr int packed_day(PackedTime t) { return int((t >> 17) & 31); }
constexpr int packed_hour(PackedTime t) { return int((t >> 12) & 31); }
constexpr int packed_minute(PackedTime t) { return int((t >> 6) & 63); }

// Fields are shifted as stored, without range checks or masking (32-bit wrap).
inline PackedTime pack_time(const RfsDateTime &t) {
    return (uint32_t(t.year) << 26) | (uint32_t(t.month) << 22) | (uint32_t(t.day) << 17) |
           (uint32_t(t.hour) << 12) | (uint32_t(t.minute) << 6) | uint32_t(t.second);
}

// Writes second..year; byte 0 of *out is left as it was.
inline void unpack_time(PackedTime w, RfsDateTime *out) {
    out->year = uint16_t(w >> 26);
    out->month = uint8_t((w >> 22) & 15);
    out->day = uint8_t((w >> 17) & 31);
    out->hour = uint8_t((w >> 12) & 31);
    out->minute = uint8_t((w >> 6) & 63);
    out->second = uint8_t(w & 63);
}

// Microseconds since 1970 UTC to broken-down UTC; byte 0 untouched. Returns 0.
int usec_to_datetime(RfsDateTime *out, int64_t usec);

// Local-zone conversions of the host clock, used by the seek look-back.
int64_t local_datetime_to_time(const RfsDateTime &t); // normalises out-of-range fields
void time_to_local_datetime(int64_t secs, RfsDateTime *out);
RfsDateTime one_hour_back_local(const RfsDateTime &t);
RfsDateTime start_of_day_local(const RfsDateTime &t);

// Fields read as UTC: 2*t1 - t2 with t1 = local mktime of the fields and
// t2 = local mktime of gmtime(t1), which cancels the zone offset.
int64_t datetime_as_utc_seconds(const RfsDateTime &t);



} // namespace rfs
