// The most-recent-N search: one day at a time, backwards, until channel 0
// holds enough events.
#include "fault_storage.h"
#include "frame/state.h"
#include "frame/time.h"
#include "search_fixture.h"

namespace {

class RecentTest : public SearchTest {
  protected:
    void SetUp() override {
        SearchTest::SetUp();
        rec::DiskSpec spec;
        spec.files_per_partition = 8;
        spec.headers_only = true;
        spec.keep_truth = false;
        make_disk(spec, [](rec::Recorder &r) {
            rec::RecordOptions o;
            o.fps = 1;
            for (const char *day : {"2026-02-28", "2026-03-03", "2026-03-05"})
                r.record(0, at(std::string(day) + " 08:00:00"), at(std::string(day) + " 08:05:00"),
                         rec::kTimed, o);
            r.record(1, at("2026-03-05 09:00:00"), at("2026-03-05 09:05:00"), rec::kTimed, o);
        }, "a");
        mount(0, "a");
    }

    struct Run {
        int result;
        int chn0;
        rec::PackedTime start, end;
        uint64_t opens;
    };
    Run run(const char *lower, const char *end, int num, uint8_t search_type = 3) {
        Query q;
        q.search_type = search_type;
        q.search_mode = 4;
        q.start = at(lower);
        q.end = at(end);
        RfsSearchParam p = param(q);
        RfsEventList merged{};
        rfs_host::fault_reset_counts();
        int h = rfs_find_start(&p, &merged, num);
        Run r{h, h >= 0 ? rfs::g_search[h].data_len[0] : -1, rfs::pack_time(p.start),
              rfs::pack_time(p.end), rfs_host::fault_counts().opens};
        if (h >= 0) rfs_find_stop(uint32_t(h));
        return r;
    }
};

} // namespace

TEST_F(RecentTest, StepsBackOneDayAtATime) {
    struct Case {
        const char *name, *lower, *end;
        int num;
        uint8_t search_type;
        int chn0;
        const char *last_start, *last_end;
        uint64_t collections;
    };
    const Case cases[] = {
        {"num 0: one day", "2026-03-01 00:00:00", "2026-03-05 12:00:00", 0, 3, 1,
         "2026-03-05 00:00:00", "2026-03-05 23:59:59", 1},
        {"two events, two days back", "2026-03-01 00:00:00", "2026-03-05 12:00:00", 2, 3, 2,
         "2026-03-03 00:00:00", "2026-03-03 23:59:59", 3},
        {"merged: channel 0 holds every channel", "2026-03-01 00:00:00", "2026-03-05 12:00:00", 2,
         2, 2, "2026-03-05 00:00:00", "2026-03-05 23:59:59", 1},
        {"stops at the caller's start", "2026-03-04 12:00:00", "2026-03-05 12:00:00", 10, 3, 1,
         "2026-03-04 00:00:00", "2026-03-04 23:59:59", 2},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Run r = run(c.lower, c.end, c.num, c.search_type);
        ASSERT_GE(r.result, 0);
        EXPECT_EQ(r.chn0, c.chn0);
        EXPECT_EQ(rec::format_time(r.start), c.last_start);
        EXPECT_EQ(rec::format_time(r.end), c.last_end);
        EXPECT_EQ(r.opens, c.collections); // every day searched lies in the partition's range
    }
}

TEST_F(RecentTest, DayAndMonthPassThroughZeroUntilTheFirstRecording) {
    // 03-05 down to 03-01, then day 0 of March, then 02-31, 02-30, 02-29 and
    // 02-28, whose day holds the first recording: ten collections.
    Run r = run("2026-01-01 00:00:00", "2026-03-05 12:00:00", 10);
    ASSERT_GE(r.result, 0);
    EXPECT_EQ(r.chn0, 3);
    EXPECT_EQ(rec::format_time(r.start), "2026-02-28 00:00:00");
    EXPECT_EQ(r.opens, 10u);
}

TEST_F(RecentTest, OutOfRangeNumOnlyLoggedAndNothingBeforeTheEnd) {
    Run r = run("2026-03-01 00:00:00", "2026-03-05 12:00:00", 100001);
    EXPECT_GE(r.result, 0);
    EXPECT_TRUE(log_.contains("search num out of range. num = 100001"));

    r = run("2026-02-01 00:00:00", "2026-02-28 08:00:00", 1);
    EXPECT_EQ(r.result, RFS_ERR_FAILED);
    EXPECT_TRUE(log_.contains("search time err"));
    for (const rfs::SearchSession &s : rfs::g_search) EXPECT_EQ(s.state, 0);
}
