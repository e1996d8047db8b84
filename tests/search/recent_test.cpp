// The most-recent-N search: one day at a time, backwards, until channel 0
// holds enough events.
#include "fault_storage.h"
#include "frame/state.h"
#include "frame/time.h"
#include "search_fixture.h"

TEST_F(SearchTest, MostRecentStepsBackOneDayAtATime) {
    rec::DiskSpec shape;
    shape.headers_only = true;
    shape.keep_truth = false;
    make_disk(shape, [](rec::Recorder &r) {
        rec::RecordOptions o;
        o.fps = 1;
        for (std::string d : {"2026-02-28", "2026-03-03", "2026-03-05"})
            r.record(0, at(d + " 08:00:00"), at(d + " 08:05:00"), rec::kTimed, o);
        r.record(1, at("2026-03-05 09:00:00"), at("2026-03-05 09:05:00"), rec::kTimed, o);
    }, "a");
    mount(0, "a");
    struct Case {
        const char *lower, *end;
        int num;
        uint8_t search_type;
        int result, chn0;
        const char *last_day; // the range left in the caller's record
        uint64_t days;        // collections, each opening the index once
    } cases[] = {
        {"2026-03-01", "2026-03-05 12:00:00", 0, 3, 0, 1, "2026-03-05", 1},
        {"2026-03-01", "2026-03-05 12:00:00", 2, 3, 0, 2, "2026-03-03", 3},
        // merged: channel 0 holds every channel's events
        {"2026-03-01", "2026-03-05 12:00:00", 2, 2, 0, 2, "2026-03-05", 1},
        // the caller's start ends the walk
        {"2026-03-04 12:00:00", "2026-03-05 12:00:00", 10, 3, 0, 1, "2026-03-04", 2},
        // day 0 of March, then 02-31, 02-30, 02-29 and 02-28, the first recording
        {"2026-01-01", "2026-03-05 12:00:00", 100001, 3, 0, 3, "2026-02-28", 10},
        {"2026-02-01", "2026-02-28 08:00:00", 1, 3, RFS_ERR_FAILED, 0, "2026-02-01", 0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << c.lower << " " << c.num);
        Query q;
        q.search_type = c.search_type;
        q.search_mode = 4;
        q.start = at(c.lower);
        q.end = at(c.end);
        RfsSearchParam p = param(q);
        RfsEventList merged{};
        rfs_host::fault_reset_counts();
        int h = rfs_find_start(&p, &merged, c.num);
        EXPECT_EQ(std::min(h, 0), c.result);
        EXPECT_EQ(h >= 0 ? rfs::g_search[h].data_len[0] : 0, c.chn0);
        EXPECT_EQ(rec::format_time(rfs::pack_time(p.start)).substr(0, 10), c.last_day);
        if (h >= 0) {
            EXPECT_EQ(rec::format_time(rfs::pack_time(p.end)), std::string(c.last_day) + " 23:59:59");
        }
        EXPECT_EQ(rfs_host::fault_counts().opens, c.days);
        rfs_find_stop(uint32_t(std::max(h, 0)));
    }
    for (const char *line : {"search num out of range. num = 100001", "search time err"})
        EXPECT_TRUE(log_.contains(line)) << line;
    for (const rfs::SearchSession &s : rfs::g_search) EXPECT_EQ(s.state, 0);
}
