// Time helpers of the recorder simulator.
//
// Every time the recorder stores on disk is a PackedTime word:
//   (year - 2000) << 26 | month << 22 | day << 17 | hour << 12 | minute << 6 | second
// Frame headers carry microseconds since 1970-01-01 00:00:00 UTC instead.
// The simulated recorder runs its wall clock on UTC, so a frame stamped
// `usec` carries the packed time unix_to_packed(usec / 1000000): a reader that
// breaks a frame's microsecond time down as UTC gets exactly the packed time
// that the key-frame index and the event records hold.
#pragma once

#include <cstdint>
#include <string>

namespace rec {

using PackedTime = uint32_t;

struct TimeFields {
  int year = 2000;  // full year, 2000..2063
  int month = 1;
  int day = 1;
  int hour = 0;
  int minute = 0;
  int second = 0;
};

PackedTime pack_time(const TimeFields& f);
PackedTime pack_time(int year, int month, int day, int hour, int minute, int second);
TimeFields unpack_time(PackedTime t);

// "YYYY-MM-DD HH:MM:SS" (also "YYYY-MM-DD", meaning 00:00:00). Throws
// std::invalid_argument on anything else.
PackedTime parse_time(const std::string& text);
inline PackedTime t(const std::string& text) { return parse_time(text); }
std::string format_time(PackedTime t);  // "YYYY-MM-DD HH:MM:SS"

// Seconds since 1970 of a packed wall-clock time read as UTC, and back.
int64_t packed_to_unix(PackedTime t);
PackedTime unix_to_packed(int64_t seconds);

// The packed time `seconds` later (negative: earlier), through the calendar.
PackedTime add_seconds(PackedTime t, int64_t seconds);

}  // namespace rec
