// rfs_find_start's checks and dispatch, the 64-session pool, and the
// most-recent-N search.
#include "search_fixture.h"

// Which kind of session each request takes (1: events, 2: pictures and
// labels; calendars none), and the log lines of the refusals the export
// table in the C-boundary test checks by code.
TEST_F(SearchTest, ParameterChecksAndDispatchCodes) {
    RfsSearchParam p = day("2026-03-01");
    RfsMonthResult out{}; // room for every kind of result
    struct Case { uint8_t data_type, search_type; bool with_out; int code, state; } cases[] = {
        {0, 2, false, RFS_ERR_NULL, 0}, {0, 5, true, RFS_ERR_SEARCH_TYPE, 0}, {0, 0, false, RFS_ERR_NULL, 0},
        {0, 0, true, 64, 0}, {1, 0, true, 64, 0}, {0, 3, false, 0, 1}, {1, 3, false, 0, 2}, {2, 2, true, 0, 2},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << int(c.data_type) << "/" << int(c.search_type));
        p.data_type = c.data_type;
        p.search_type = c.search_type;
        EXPECT_EQ(rfs_find_start(&p, c.with_out ? &out : nullptr, 0), c.code);
        EXPECT_EQ(rfs::g_search[0].state, c.state);
        rfs_find_stop(0);
    }
    rfs_exit();
    EXPECT_EQ(rfs_find_start(&p, &out, 0), RFS_ERR_FAILED);
    for (const char *line : {"param which input is err", "find type err", "rfs system is not init!!!", "invalid param output mon"})
        EXPECT_TRUE(log_.contains(line)) << line;
}

TEST_F(SearchTest, PoolOfSixtyFourSessions) {
    RfsSearchParam q = day("2026-03-01");
    for (int i = 0; i < 64; ++i) ASSERT_EQ(search(q), i);
    EXPECT_EQ(search(q), RFS_ERR_NO_SEARCH_SESSION);
    EXPECT_TRUE(log_.contains("have no g_output"));
    for (uint32_t h : {17u, 17u, 64u, 0xFFFFFFFFu}) EXPECT_EQ(rfs_find_stop(h), 0);
    EXPECT_EQ(search(q), 17);
    // A reused session starts clean: nothing found gives an empty list.
    rfs_find_stop(3);
    rfs::g_search[3].event_cursor[1] = 7;
    RfsEventList merged{reinterpret_cast<RfsEvent *>(8), 9};
    EXPECT_EQ(search(day("2026-03-01", 2), &merged), 3);
    EXPECT_EQ(std::make_tuple(merged.list, merged.count, rfs::g_search[3].event_cursor[1]), std::make_tuple((RfsEvent *)nullptr, 0, -1));
}

// Steps back one day at a time until channel 0 holds enough events, and
// leaves the last day searched in the caller's range. Days no partition's
// record range meets (03-04 here) are stepped over without a collection.
TEST_F(SearchTest, MostRecentStepsBackOneDayAtATime) {
    // Two partitions each; the second stays empty: no say in the oldest recording.
    make_disk(headers_only(2), [](rec::Recorder &r) {
        record(r, 0, "2026-02-28 08:00:00", "2026-02-28 08:05:00", rec::kTimed);
        record(r, 0, "2026-03-03 08:00:00", "2026-03-03 08:05:00", rec::kTimed);
    }, "a");
    make_disk(headers_only(2), [](rec::Recorder &r) {
        record(r, 0, "2026-03-05 08:00:00", "2026-03-05 08:05:00", rec::kTimed);
        record(r, 1, "2026-03-05 09:00:00", "2026-03-05 09:05:00", rec::kTimed);
    }, "b");
    mount(0, "a");
    mount(1, "b");
    // (range start, num, search type, result, events of channel 0, last day, days collected,
    // range end when not the default, its year when no packed time holds it)
    struct Case { const char *lower; int num; uint8_t type; int result, chn0; const char *last_day; uint64_t days;
                  const char *end = nullptr; uint16_t end_year = 0; } cases[] = {
        {"2026-03-01 00:00:00", 0, 3, 0, 1, "2026-03-05", 1},
        {"2026-03-01 00:00:00", 2, 3, 0, 2, "2026-03-03", 2},
        {"2026-03-01 00:00:00", 2, 2, 0, 2, "2026-03-05", 1}, // merged: channel 0 holds every channel
        {"2026-03-04 12:00:00", 10, 3, 0, 1, "2026-03-04", 1}, // the caller's start ends the walk
        // day 0 of March, then 02-31, 02-30, 02-29 and 02-28, the first recording
        {"2026-01-01 00:00:00", 100001, 3, 0, 3, "2026-02-28", 9},
        {"2026-02-01 00:00:00", 1, 3, RFS_ERR_FAILED, 0, "2026-02-01", 0, "2026-02-28 08:00:00"}, // ends at the first recording
        // an end after the newest recording starts the walk on its day
        {"2026-03-01 00:00:00", 2, 3, 0, 2, "2026-03-03", 2, "2026-06-30 12:00:00"},
        {"2026-01-01 00:00:00", 100001, 3, 0, 3, "2026-02-28", 9, "2026-03-05 12:00:00", 99}, // 2099
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << c.lower << " " << c.num);
        RfsSearchParam p = range(c.lower, c.end ? c.end : "2026-03-05 12:00:00", c.type);
        p.search_mode = 4;
        if (c.end_year) p.end.year = c.end_year;
        RfsEventList merged{};
        rfs_host::fault_reset_counts();
        testing::internal::CaptureStdout(); // each collection prints the disks it scans
        int h = rfs_find_start(&p, &merged, c.num);
        const std::string printed = testing::internal::GetCapturedStdout();
        EXPECT_EQ(std::min(h, 0), c.result);
        EXPECT_EQ(h >= 0 ? rfs::g_search[h].data_len[0] : 0, c.chn0);
        EXPECT_EQ(rec::format_time(rfs::pack_time(p.start)).substr(0, 10), c.last_day);
        if (h >= 0) { EXPECT_EQ(rec::format_time(rfs::pack_time(p.end)), std::string(c.last_day) + " 23:59:59"); }
        size_t collections = 0;
        for (size_t at = 0; (at = printed.find("all disk rec:\n", at)) != std::string::npos; ++at) ++collections;
        EXPECT_EQ(collections, c.days);
        EXPECT_EQ(rfs_host::fault_counts().opens, c.days); // one partition meets each day collected
        rfs_find_stop(uint32_t(std::max(h, 0)));
    }
    for (const char *line : {"search num out of range. num = 100001", "search time err"})
        EXPECT_TRUE(log_.contains(line)) << line;
    for (const rfs::SearchSession &s : rfs::g_search) EXPECT_EQ(s.state, 0);
}
