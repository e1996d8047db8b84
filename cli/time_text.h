// Times as the user types and reads them: "YYYY-MM-DD HH:MM:SS", the wall
// clock the recorder stored, with no zone conversion in either direction.
#pragma once

#include <cstdint>
#include <string>

#include "rfs.h"

namespace cli {

enum class DateOnly { StartOfDay, EndOfDay };

// Parses "YYYY-MM-DD HH:MM:SS" (or the ISO 8601 "YYYY-MM-DDTHH:MM:SS"), or
// "YYYY-MM-DD" alone, which means 00:00:00 or
// 23:59:59 of that day as `date_only` says. Years 2000..2063 (the recorder's
// range). Throws UsageError naming the text.
RfsDateTime parse_time_text(const std::string &text, DateOnly date_only = DateOnly::StartOfDay);

std::string time_text(const RfsDateTime &t);

// The recorder's packed word: ordered like the time it stands for.
uint32_t packed(const RfsDateTime &t);

RfsDateTime make_time(int year, int month, int day, int hour, int minute, int second);

// `t` moved by `seconds` on the calendar, with no zone: a motion segment's
// end from its start and duration. Fields out of their range (a damaged
// record) give a time that is wrong but harmless.
RfsDateTime add_seconds(const RfsDateTime &t, int64_t seconds);

// Days of a month of the calendar (year 2000..2063, month 1..12), and the
// day of the week of a date: 0 Monday .. 6 Sunday.
int days_in_month(int year, int month);
int weekday(int year, int month, int day);

// The first and last second the recorder can store.
RfsDateTime earliest_time();
RfsDateTime latest_time();

} // namespace cli
