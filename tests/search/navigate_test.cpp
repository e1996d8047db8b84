// Cursor calls and the seek, over lists placed in a claimed session.
#include <cstdlib>

#include "search/navigate.h"
#include "search_fixture.h"

namespace {

RfsDateTime hms(const std::string &t) { return dt(at("2026-03-01 " + t)); }

// "HH:MM:SS-HH:MM:SS", a trailing '*' marks the record covered.
RfsEvent ev(const std::string &span) {
    RfsEvent r{};
    r.start = hms(span.substr(0, 8));
    r.end = hms(span.substr(9, 8));
    r.covered = span.back() == '*';
    return r;
}

class NavigateTest : public SearchTest {
  protected:
    void SetUp() override {
        SearchTest::SetUp();
        setenv("TZ", "UTC", 1); // the seek's one-hour look-back runs in local time
        tzset();
        RfsSearchParam p = day("2026-03-01");
        p.data_type = 2; // a session with empty lists
        ASSERT_EQ(rfs_find_start(&p, nullptr, 0), 0);
    }
    void place(int chn, std::vector<RfsEvent> events) {
        rfs::SearchSession &s = rfs::g_search[0];
        free(s.event_list[chn]);
        s.event_list[chn] = static_cast<RfsEvent *>(malloc(events.size() * sizeof(RfsEvent)));
        for (size_t i = 0; i < events.size(); ++i) (s.event_list[chn][i] = events[i]).sequence = uint32_t(i);
        s.data_len[chn] = s.buf_len[chn] = int32_t(events.size());
        s.event_cursor[chn] = -1;
    }
    int32_t &cursor(int chn) { return rfs::g_search[0].event_cursor[chn]; }
    int seek(const char *t, const char *end, int backward) {
        RfsDateTime a = hms(t), b = hms(end);
        return rfs_event_seek(0, 0, &a, &b, backward);
    }
};

} // namespace

TEST_F(NavigateTest, CursorCallsStepOverCoveredRecords) {
    place(1, {ev("08:00:00-08:10:00"), ev("09:00:00-09:01:00*"), ev("10:00:00-10:01:00*"),
              ev("11:00:00-11:01:00"), ev("12:00:00-12:01:00*")});
    RfsEvent e{};
    // call: 'c' current, 'p' previous, 'n' next; then result, cursor after, record copied.
    struct Step { char call; int result, cursor, seq; int32_t set_cursor = -100; };
    const Step steps[] = {
        {'c', RFS_ERR_CURSOR, -1, -1}, {'p', RFS_ERR_AT_START, -1, -1}, {'n', 0, 0, 0},
        {'p', RFS_ERR_AT_START, -1, -1}, {'n', 0, 0, 0}, {'n', 0, 3, 3}, {'c', 0, 3, 3},
        {'n', RFS_ERR_AT_END, 5, -1}, {'n', RFS_ERR_AT_END, 5, -1}, {'p', 0, 3, 3}, {'p', 0, 0, 0},
        {'p', 0, 3, 3, 99}, // a cursor left beyond the list is first brought back to its end
        {'n', 0, 0, 0, -7},
    };
    for (const Step &s : steps) {
        SCOPED_TRACE(testing::Message() << s.call << " from " << cursor(1));
        if (s.set_cursor != -100) cursor(1) = s.set_cursor;
        e.sequence = uint32_t(-1);
        int r = s.call == 'c' ? rfs_get_current_event(0, 1, &e)
                : s.call == 'p' ? rfs_get_pre_event(0, 1, &e) : rfs_get_next_event(0, 1, &e);
        EXPECT_EQ(std::make_tuple(r, cursor(1), int(e.sequence)), std::make_tuple(s.result, s.cursor, s.seq));
    }
    EXPECT_TRUE(log_.contains("chn1 next event nr:[last(5)]"));
}

// The codes the export table in the C-boundary test leaves out: the seek's
// own channel and session checks, and each refusal's log line.
TEST_F(NavigateTest, EachCallKeepsItsOwnCodes) {
    place(1, {ev("08:00:00-08:10:00")});
    RfsEvent e{};
    RfsDateTime t = hms("08:00:00");
    auto seek = [&](uint32_t h, int32_t chn) { return [=, &t] { return rfs_event_seek(h, chn, &t, &t, 0); }; };
    expect_codes({
        {"get, no output", [] { return rfs_get_event(0, 1, nullptr); }, RFS_ERR_NULL, "pointer is null!"},
        {"get, session not in use", [] { RfsEventList l{}; return rfs_get_event(1, 1, &l); }, RFS_ERR_SEARCH_HANDLE, "1 handle isn't exist"},
        {"previous, session not in use", [&] { return rfs_get_pre_event(1, 1, &e); }, RFS_ERR_SEARCH_HANDLE, "1 handle isn't exist"},
        {"seek, channel -1", seek(0, -1), RFS_ERR_CHANNEL, "invalid chn"},
        {"seek, channel 8", seek(0, kChannels), RFS_ERR_CHANNEL, "invalid chn"},
        {"seek, handle 64", seek(64, 1), RFS_ERR_HANDLE, "invalid handel"},
        {"seek, session not in use", seek(1, 1), RFS_ERR_SEARCH_HANDLE, "1 handle isn't exist"},
        {"seek, empty channel", seek(0, 2), RFS_ERR_NO_EVENTS, "chn2 have not search or no event"},
        {"next, empty channel", [&] { return rfs_get_next_event(0, 2, &e); }, RFS_ERR_NO_EVENTS, "chn2 have not search or no event"},
    });
}

TEST_F(NavigateTest, SeekLandsInAnEventInAGapOrNowhere) {
    place(0, {ev("08:00:00-08:10:00"), ev("09:00:00-09:10:00"), ev("09:05:00-09:30:00*"),
              ev("10:00:00-10:20:00"), ev("13:50:00-14:40:00"), ev("14:30:00-14:35:00"),
              ev("16:00:00-19:00:00")});
    struct Case { const char *t, *end; int backward, code, cursor; } cases[] = {
        {"08:05:00", "23:59:59", 0, 0, 0},  // forward in an event
        {"09:20:00", "23:59:59", 0, 0, 3},  // in a gap (and a covered record): the next event
        {"14:32:00", "23:59:59", 0, 0, 4},  // where two overlap: the earlier
        {"00:30:00", "23:59:59", 0, 0, 0},  // first hour: the look-back stops at midnight
        {"19:30:00", "23:59:59", 0, RFS_ERR_SEEK_NOT_FOUND, -1}, // after every event
        {"07:00:00", "07:30:00", 0, RFS_ERR_SEEK_NOT_FOUND, -1}, // range before every event
        {"08:05:00", "08:05:00", 1, 0, 0},  // backward in an event
        {"14:00:00", "14:33:00", 1, 0, 5},  // backward from the range end
        {"09:20:00", "09:20:00", 1, RFS_ERR_SEEK_NOT_FOUND, -1}, // only a covered record
        {"18:00:00", "18:00:00", 1, 0, 6},  // a long event begun before the look-back
        {"07:00:00", "07:30:00", 1, RFS_ERR_SEEK_NOT_FOUND, -1},
        {"08:10:00", "23:59:59", 0, 0, 0},  // at an event's last second
        {"09:40:00", "10:00:00", 0, 0, 3},  // a range ending at an event's first second
        {"10:00:00", "10:00:00", 1, 0, 3},  // backward from an event's first second
        {"10:20:00", "10:20:00", 1, 0, 3},  // backward from its last second
        {"10:20:01", "10:20:01", 1, RFS_ERR_SEEK_NOT_FOUND, -1}, // one second after it
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << c.t << " backward " << c.backward);
        cursor(0) = -1;
        EXPECT_EQ(seek(c.t, c.end, c.backward), c.code);
        EXPECT_EQ(cursor(0), c.cursor);
    }
    EXPECT_TRUE(log_.contains("find_start_time:[26/3/1 7:5:0]") && log_.contains("find_start_time:[26/3/1 0:0:0]"));
}

TEST_F(NavigateTest, ForwardSeekLooksBackNinetyNineRecords) {
    // Short records every 30 s from 10:00:30 to 11:00, then one at 11:40: a
    // seek at 11:30 walks from 10:30 and meets 11:40 first. A long record
    // among the 99 before that one (not 100 back, not record 0) wins.
    for (auto [long_at, want] : {std::pair{-1, 121}, {30, 30}, {22, 22}, {21, 121}, {0, 121}}) {
        std::vector<RfsEvent> events{ev("08:00:00-08:00:05")};
        for (int k = 1; k <= 120; ++k) {
            std::string s = rec::format_time(rec::add_seconds(at("2026-03-01 10:00:00"), 30 * k)).substr(11);
            events.push_back(ev(s + "-" + s));
        }
        events.push_back(ev("11:40:00-11:45:00"));
        if (long_at >= 0) events[size_t(long_at)].end = hms("12:00:00");
        place(0, events);
        EXPECT_EQ(seek("11:30:00", "23:59:59", 0), 0);
        EXPECT_EQ(cursor(0), want) << long_at;
    }
}

// The last record whose start is at or below the key; with a non-zero flag
// the upper record of the final pair when the key reaches its start.
TEST(EventBinarySearch, LastStartAtOrBelowTheKey) {
    std::vector<RfsEvent> one = {ev("08:00:00-08:10:00")};
    std::vector<RfsEvent> four = {ev("08:00:00-08:10:00"), ev("09:00:00-09:01:00"), ev("09:00:00-09:02:00"),
                                  ev("10:00:00-10:01:00")};
    struct Case { const std::vector<RfsEvent> *list; const char *key; int flag, index; } cases[] = {
        {&one, "07:59:59", 0, -1}, {&one, "08:00:00", 0, 0}, {&one, "23:00:00", 1, 0},
        {&four, "07:59:59", 1, -1}, {&four, "08:00:00", 0, 0}, {&four, "08:59:59", 1, 0},
        {&four, "09:00:00", 0, 2}, {&four, "09:30:00", 1, 2}, {&four, "10:00:00", 0, 3},
    };
    for (const Case &c : cases) {
        RfsDateTime key = hms(c.key);
        EXPECT_EQ(rfs::event_binary_search(&key, c.list->data(), int32_t(c.list->size()), c.flag), c.index)
            << c.key << " in " << c.list->size();
    }
}
