#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <unistd.h>
#include <string>
#include <vector>

#include "frame/hour_back.h"
#include "frame/time.h"

using namespace rfs;

namespace {
RfsDateTime dt(int y, int mo, int d, int h, int mi, int s, uint8_t byte0 = 0) {
    return RfsDateTime{byte0, uint8_t(s), uint8_t(mi), uint8_t(h), uint8_t(d), uint8_t(mo), uint16_t(y)};
}

bool same_fields(const RfsDateTime &a, const RfsDateTime &b) {
    return a.year == b.year && a.month == b.month && a.day == b.day && a.hour == b.hour &&
           a.minute == b.minute && a.second == b.second;
}

// TZ set to a zone while it lives; unset again after (the tests run without one).
struct ZoneGuard {
    explicit ZoneGuard(const char *tz) {
        setenv("TZ", tz, 1);
        tzset();
    }
    ~ZoneGuard() {
        unsetenv("TZ");
        tzset();
    }
};
} // namespace

TEST(Time, PackUnpack) {
    struct Case {
        RfsDateTime t;
        uint32_t packed;
    } cases[] = {
        {dt(24, 2, 29, 23, 59, 58), 0x60BB7EFAu},
        {dt(0, 1, 1, 0, 0, 0), (1u << 22) | (1u << 17)},
        {dt(63, 12, 31, 23, 59, 59), 0xFF3F7EFBu},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(pack_time(c.t), c.packed);
        RfsDateTime back = dt(0, 0, 0, 0, 0, 0, 0xAB);
        unpack_time(c.packed, &back);
        EXPECT_TRUE(same_fields(back, c.t));
        EXPECT_EQ(back.unused, 0xAB); // byte 0 is never written
    }
    RfsDateTime zero = dt(9, 9, 9, 9, 9, 9);
    unpack_time(0, &zero);
    EXPECT_TRUE(same_fields(zero, dt(0, 0, 0, 0, 0, 0)));
}

TEST(Time, MicrosecondsToDateTime) {
    struct Case {
        int64_t usec;
        RfsDateTime expected;
    } cases[] = {
        {1700000000123456LL, dt(23, 11, 14, 22, 13, 20)},
        {0, dt(uint16_t(-30), 1, 1, 0, 0, 0)},
        {-1500000, dt(uint16_t(-31), 12, 31, 23, 59, 59)}, // -1.5 s rounds toward zero
        {1709251199000000LL, dt(24, 2, 29, 23, 59, 59)},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.usec);
        RfsDateTime out = dt(0, 0, 0, 0, 0, 0, 0x5A);
        EXPECT_EQ(usec_to_datetime(&out, c.usec), 0);
        EXPECT_TRUE(same_fields(out, c.expected));
        EXPECT_EQ(out.unused, 0x5A);
    }
}

TEST(Time, LocalConversions) {
    for (const char *zone : {"UTC0", "EST5EDT", "JST-9"}) {
        SCOPED_TRACE(zone);
        ZoneGuard guard(zone);
        // Fields read as UTC whatever the zone.
        EXPECT_EQ(datetime_as_utc_seconds(dt(23, 11, 14, 22, 13, 20)), 1700000000);
        EXPECT_TRUE(same_fields(one_hour_back_local(dt(26, 3, 1, 10, 15, 0)), dt(26, 3, 1, 9, 15, 0)));
        EXPECT_TRUE(same_fields(one_hour_back_local(dt(26, 3, 1, 0, 30, 0)), dt(26, 2, 28, 23, 30, 0)));
        EXPECT_TRUE(same_fields(start_of_day_local(dt(26, 3, 1, 17, 5, 9)), dt(26, 3, 1, 0, 0, 0)));
    }
}

// The seek look-back without a calendar conversion per call gives what the
// conversion gives, in zones with clock changes of an hour and of half an
// hour at various local times (midnight included), in a zone without any, in
// a half-hour zone, and for fields the conversion carries into the next
// minute, hour or day.
TEST(Time, HourBackAgreesWithTheConversion) {
    struct Zone {
        const char *tz;
        int year;
        bool changes; // has hours that are not plainly the hour before
    } zones[] = {{"UTC0", 2026, false}, {"CET-1CEST,M3.5.0,M10.5.0/3", 2026, true},
                 {"EST5EDT,M3.2.0,M11.1.0", 2026, true},
                 {"<+1030>-10:30<+11>-11,M10.1.0,M4.1.0", 2026, true},
                 {"<+0545>-5:45", 2026, false}, {"<-03>3<-02>,M10.3.0/0,M2.3.0/0", 2026, true},
                 // A standard offset changed (+4 to +3 at 02:00 on 26 October),
                 // where the zone files are installed.
                 {":Europe/Moscow", 2014, false}};
    auto agree = [](const RfsDateTime &t) {
        RfsDateTime fast = one_hour_back(t), exact = one_hour_back_local(t);
        EXPECT_TRUE(same_fields(fast, exact))
            << int(t.year) << '-' << int(t.month) << '-' << int(t.day) << ' ' << int(t.hour) << ':'
            << int(t.minute) << ':' << int(t.second);
        return fast;
    };
    for (const Zone &zone : zones) {
        SCOPED_TRACE(zone.tz);
        if (zone.tz[0] == ':' && access("/usr/share/zoneinfo/Europe/Moscow", R_OK) != 0) continue;
        ZoneGuard guard(zone.tz);
        forget_local_hours();
        const time_t jan1 = time_t(datetime_as_utc_seconds(dt(zone.year - 2000, 1, 1, 0, 0, 0)));
        // Every 9th day of the year, and the days around a change of the
        // zone's offset, hour by hour; every 13th second of an hour that is
        // not plainly the hour before.
        std::vector<int> days;
        long offset = 0;
        for (int day = 0; day < 366; ++day) {
            time_t at = jan1 + time_t(day) * 86400;
            struct tm tm {};
            localtime_r(&at, &tm);
            if (day > 0 && tm.tm_gmtoff != offset) days.insert(days.end(), {day - 2, day - 1, day});
            offset = tm.tm_gmtoff;
            if (day % 9 == 0) days.push_back(day);
        }
        int changes = 0;
        for (int day : days)
            for (int h = 1; h < 24; ++h) {
                RfsDateTime t{};
                usec_to_datetime(&t, (int64_t(jan1) + day * 86400LL) * 1000000); // the date jan1 + day
                t.hour = uint8_t(h);
                t.minute = uint8_t((h * 7 + day) % 60);
                t.second = uint8_t((h * 13 + day) % 60);
                RfsDateTime back = agree(t);
                if (back.hour + 1 == h && back.day == t.day) continue;
                ++changes;
                for (int s = 0; s < 3600; s += 13) {
                    t.minute = uint8_t(s / 60);
                    t.second = uint8_t(s % 60);
                    agree(t);
                }
            }
        if (zone.tz[0] != ':') {
            EXPECT_EQ(changes > 0, zone.changes);
        }
        for (RfsDateTime odd : {dt(26, 4, 31, 10, 0, 0), dt(26, 2, 29, 5, 1, 1), dt(26, 3, 1, 0, 70, 0),
                                dt(26, 3, 1, 24, 0, 0), dt(26, 13, 1, 5, 0, 0), dt(26, 3, 1, 5, 0, 60),
                                dt(150, 3, 1, 5, 0, 0)})
            agree(odd);
    }
}
