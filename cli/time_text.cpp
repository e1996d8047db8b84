#include "time_text.h"

#include <cstdio>

#include "errors.h"

namespace cli {

namespace {

bool leap(int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

bool valid(int y, int mo, int d, int h, int mi, int s) {
    return y >= 2000 && y <= 2063 && mo >= 1 && mo <= 12 && d >= 1 && d <= days_in_month(y, mo) &&
           h >= 0 && h < 24 && mi >= 0 && mi < 60 && s >= 0 && s < 60;
}

// '0' in the shape stands for a digit; every other character must match.
bool has_shape(const std::string &text, const std::string &shape) {
    if (text.size() != shape.size()) return false;
    for (size_t i = 0; i < text.size(); ++i) {
        bool digit = text[i] >= '0' && text[i] <= '9';
        if (shape[i] == '0' ? !digit : text[i] != shape[i]) return false;
    }
    return true;
}

// Days since 2000-03-01 of a civil date, and back (the year counted from
// March, so that the leap day ends it).
int64_t days_from_civil(int64_t y, int64_t m, int64_t d) {
    y -= m <= 2;
    int64_t era = (y >= 0 ? y : y - 399) / 400;
    int64_t yoe = y - era * 400;
    int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    return era * 146097 + yoe * 365 + yoe / 4 - yoe / 100 + doy;
}

void civil_from_days(int64_t z, int64_t &y, int64_t &m, int64_t &d) {
    int64_t era = (z >= 0 ? z : z - 146096) / 146097;
    int64_t doe = z - era * 146097;
    int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    int64_t mp = (5 * doy + 2) / 153;
    d = doy - (153 * mp + 2) / 5 + 1;
    m = mp < 10 ? mp + 3 : mp - 9;
    y = yoe + era * 400 + (m <= 2);
}

} // namespace

int days_in_month(int year, int month) {
    static const int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && leap(year) ? 29 : kDays[month - 1];
}

// Day 0 of days_from_civil (0000-03-01, 400-year eras of whole weeks before
// 2000-03-01) was a Wednesday.
int weekday(int year, int month, int day) { return int((days_from_civil(year, month, day) % 7 + 9) % 7); }

RfsDateTime add_seconds(const RfsDateTime &t, int64_t seconds) {
    int64_t total = days_from_civil(t.year + 2000, t.month, t.day) * 86400 + t.hour * 3600 + t.minute * 60 +
                    t.second + seconds;
    int64_t days = total >= 0 ? total / 86400 : (total - 86399) / 86400;
    int64_t in_day = total - days * 86400, y = 0, m = 0, d = 0;
    civil_from_days(days, y, m, d);
    RfsDateTime out{};
    out.year = uint16_t(y - 2000);
    out.month = uint8_t(m);
    out.day = uint8_t(d);
    out.hour = uint8_t(in_day / 3600);
    out.minute = uint8_t(in_day / 60 % 60);
    out.second = uint8_t(in_day % 60);
    return out;
}

RfsDateTime make_time(int year, int month, int day, int hour, int minute, int second) {
    RfsDateTime t{};
    t.year = uint16_t(year - 2000);
    t.month = uint8_t(month);
    t.day = uint8_t(day);
    t.hour = uint8_t(hour);
    t.minute = uint8_t(minute);
    t.second = uint8_t(second);
    return t;
}

RfsDateTime parse_time_text(const std::string &given, DateOnly date_only) {
    std::string text = given;
    if (has_shape(text, "0000-00-00T00:00:00")) text[10] = ' '; // ISO 8601
    int y = 0, mo = 0, d = 0, h = 0, mi = 0, s = 0;
    bool whole = has_shape(text, "0000-00-00 00:00:00") &&
                 sscanf(text.c_str(), "%d-%d-%d %d:%d:%d", &y, &mo, &d, &h, &mi, &s) == 6;
    bool day_only = has_shape(text, "0000-00-00") && sscanf(text.c_str(), "%d-%d-%d", &y, &mo, &d) == 3;
    if (day_only && date_only == DateOnly::EndOfDay) h = 23, mi = 59, s = 59;
    if ((!whole && !day_only) || !valid(y, mo, d, h, mi, s))
        throw UsageError("bad time '" + given + "' (want YYYY-MM-DD HH:MM:SS or YYYY-MM-DDTHH:MM:SS, years 2000 to 2063)");
    return make_time(y, mo, d, h, mi, s);
}

std::string time_text(const RfsDateTime &t) {
    char text[32];
    snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", t.year + 2000, t.month, t.day, t.hour,
             t.minute, t.second);
    return text;
}

uint32_t packed(const RfsDateTime &t) {
    return uint32_t(t.year) << 26 | uint32_t(t.month) << 22 | uint32_t(t.day) << 17 |
           uint32_t(t.hour) << 12 | uint32_t(t.minute) << 6 | t.second;
}

RfsDateTime earliest_time() { return make_time(2000, 1, 1, 0, 0, 0); }
RfsDateTime latest_time() { return make_time(2063, 12, 31, 23, 59, 59); }

} // namespace cli
