#include "packed_time.h"

#include <cstdio>
#include <stdexcept>

namespace rec {

PackedTime pack_time(const TimeFields& f) {
  return static_cast<uint32_t>(f.year - 2000) << 26 | static_cast<uint32_t>(f.month) << 22 |
         static_cast<uint32_t>(f.day) << 17 | static_cast<uint32_t>(f.hour) << 12 |
         static_cast<uint32_t>(f.minute) << 6 | static_cast<uint32_t>(f.second);
}

PackedTime pack_time(int year, int month, int day, int hour, int minute, int second) {
  return pack_time(TimeFields{year, month, day, hour, minute, second});
}

TimeFields unpack_time(PackedTime t) {
  return TimeFields{static_cast<int>(t >> 26) + 2000, static_cast<int>((t >> 22) & 15),
                    static_cast<int>((t >> 17) & 31), static_cast<int>((t >> 12) & 31),
                    static_cast<int>((t >> 6) & 63),  static_cast<int>(t & 63)};
}

namespace {

bool leap(int y) { return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0; }

int days_in_month(int y, int m) {
  static const int kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return m == 2 && leap(y) ? 29 : kDays[m - 1];
}

bool valid(const TimeFields& f) {
  return f.year >= 2000 && f.year < 2064 && f.month >= 1 && f.month <= 12 && f.day >= 1 &&
         f.day <= days_in_month(f.year, f.month) && f.hour >= 0 && f.hour < 24 &&
         f.minute >= 0 && f.minute < 60 && f.second >= 0 && f.second < 60;
}

// Days from 1970-01-01 to the given civil date (proleptic Gregorian).
int64_t days_from_civil(int y, int m, int d) {
  y -= m <= 2;
  const int64_t era = (y >= 0 ? y : y - 399) / 400;
  const int64_t yoe = y - era * 400;
  const int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468;
}

TimeFields civil_from_seconds(int64_t s) {
  int64_t days = s / 86400;
  int64_t rem = s % 86400;
  if (rem < 0) {
    rem += 86400;
    --days;
  }
  const int64_t z = days + 719468;
  const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const int64_t doe = z - era * 146097;
  const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const int64_t mp = (5 * doy + 2) / 153;
  TimeFields f;
  f.day = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
  f.month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  f.year = static_cast<int>(yoe + era * 400 + (f.month <= 2));
  f.hour = static_cast<int>(rem / 3600);
  f.minute = static_cast<int>(rem / 60 % 60);
  f.second = static_cast<int>(rem % 60);
  return f;
}

}  // namespace

PackedTime parse_time(const std::string& text) {
  TimeFields f;
  char tail = 0;
  int n = std::sscanf(text.c_str(), "%d-%d-%d %d:%d:%d%c", &f.year, &f.month, &f.day, &f.hour,
                      &f.minute, &f.second, &tail);
  if (n == 3) f.hour = f.minute = f.second = 0;
  if ((n != 3 && n != 6) || !valid(f)) throw std::invalid_argument("bad time: " + text);
  return pack_time(f);
}

std::string format_time(PackedTime t) {
  const TimeFields f = unpack_time(t);
  char buf[32];
  std::snprintf(buf, sizeof buf, "%04d-%02d-%02d %02d:%02d:%02d", f.year, f.month, f.day, f.hour,
                f.minute, f.second);
  return buf;
}

int64_t packed_to_unix(PackedTime t) {
  const TimeFields f = unpack_time(t);
  return days_from_civil(f.year, f.month, f.day) * 86400 + f.hour * 3600 + f.minute * 60 +
         f.second;
}

PackedTime unix_to_packed(int64_t seconds) { return pack_time(civil_from_seconds(seconds)); }

PackedTime add_seconds(PackedTime t, int64_t seconds) {
  return unix_to_packed(packed_to_unix(t) + seconds);
}

}  // namespace rec
