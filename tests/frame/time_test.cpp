#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

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

class ZoneGuard {
  public:
    explicit ZoneGuard(const char *tz) {
        const char *old = getenv("TZ");
        had_ = old != nullptr;
        if (had_) old_ = old;
        setenv("TZ", tz, 1);
        tzset();
    }
    ~ZoneGuard() {
        if (had_) setenv("TZ", old_.c_str(), 1);
        else unsetenv("TZ");
        tzset();
    }

  private:
    bool had_ = false;
    std::string old_;
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

TEST(Time, PackedOrderUnsignedVersusSigned) {
    uint32_t y2031 = pack_time(dt(31, 12, 31, 23, 59, 59));
    uint32_t y2032 = pack_time(dt(32, 1, 1, 0, 0, 0));
    EXPECT_LT(y2031, y2032);
    EXPECT_GT(int32_t(y2031), int32_t(y2032));
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
