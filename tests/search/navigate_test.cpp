// Cursor calls and the seek over lists placed in a claimed session.
#include <cstdlib>

#include "frame/state.h"
#include "frame/time.h"
#include "search/navigate.h"
#include "search_fixture.h"

namespace {

struct Ev {
    const char *start, *end;
    uint8_t covered = 0;
};

RfsDateTime dt(const char *hms) {
    RfsDateTime t{};
    rfs::unpack_time(at(std::string("2026-03-01 ") + hms), &t);
    return t;
}

class NavigateTest : public SearchTest {
  protected:
    void SetUp() override {
        SearchTest::SetUp();
        setenv("TZ", "UTC", 1); // the seek's one-hour look-back runs in local time
        tzset();
        RfsSearchParam p = param(Query{});
        p.data_type = 2; // a session with empty lists
        handle_ = rfs_find_start(&p, nullptr, 0);
        ASSERT_EQ(handle_, 0);
    }

    void place(int chn, const std::vector<RfsEvent> &events) {
        rfs::SearchSession &s = rfs::g_search[handle_];
        s.event_list[chn] = static_cast<RfsEvent *>(malloc(events.size() * sizeof(RfsEvent)));
        for (size_t i = 0; i < events.size(); ++i) {
            s.event_list[chn][i] = events[i];
            s.event_list[chn][i].sequence = uint32_t(i);
        }
        s.data_len[chn] = s.buf_len[chn] = int32_t(events.size());
        s.event_cursor[chn] = -1;
    }
    void place(int chn, const std::vector<Ev> &evs) {
        std::vector<RfsEvent> events;
        for (const Ev &e : evs) {
            RfsEvent r{};
            r.start = dt(e.start);
            r.end = dt(e.end);
            r.covered = e.covered;
            events.push_back(r);
        }
        place(chn, events);
    }
    int32_t &cursor(int chn) { return rfs::g_search[handle_].event_cursor[chn]; }
    int seek(int chn, const char *t, const char *end, int backward) {
        RfsDateTime a = dt(t), b = dt(end);
        return rfs_event_seek(uint32_t(handle_), chn, &a, &b, backward);
    }

    int handle_ = -1;
};

} // namespace

TEST_F(NavigateTest, CursorCallsStepOverCoveredRecords) {
    place(1, std::vector<Ev>{{"08:00:00", "08:10:00"}, {"09:00:00", "09:01:00", 1},
                             {"10:00:00", "10:01:00", 1}, {"11:00:00", "11:01:00"},
                             {"12:00:00", "12:01:00", 1}});
    RfsEvent e{};
    uint32_t h = uint32_t(handle_);
    EXPECT_EQ(rfs_get_current_event(h, 1, &e), RFS_ERR_CURSOR);
    EXPECT_EQ(rfs_get_pre_event(h, 1, &e), RFS_ERR_AT_START);
    EXPECT_EQ(rfs_get_next_event(h, 1, &e), 0);
    EXPECT_EQ(e.sequence, 0u);
    EXPECT_EQ(rfs_get_pre_event(h, 1, &e), RFS_ERR_AT_START);
    EXPECT_EQ(cursor(1), -1);
    EXPECT_EQ(rfs_get_next_event(h, 1, &e), 0);
    EXPECT_EQ(rfs_get_next_event(h, 1, &e), 0);
    EXPECT_EQ(e.sequence, 3u); // 1 and 2 are covered
    EXPECT_EQ(rfs_get_current_event(h, 1, &e), 0);
    EXPECT_EQ(e.sequence, 3u);
    EXPECT_EQ(rfs_get_next_event(h, 1, &e), RFS_ERR_AT_END); // only a covered one is left
    EXPECT_EQ(cursor(1), 5);
    EXPECT_TRUE(log_.contains("chn1 next event nr:[last(5)]"));
    EXPECT_EQ(rfs_get_next_event(h, 1, &e), RFS_ERR_AT_END);
    EXPECT_EQ(rfs_get_pre_event(h, 1, &e), 0);
    EXPECT_EQ(e.sequence, 3u);
    EXPECT_EQ(rfs_get_pre_event(h, 1, &e), 0);
    EXPECT_EQ(e.sequence, 0u);

    cursor(1) = 99; // left over from a collection that ended early
    EXPECT_EQ(rfs_get_current_event(h, 1, &e), RFS_ERR_CURSOR);
    EXPECT_EQ(rfs_get_pre_event(h, 1, &e), 0);
    EXPECT_EQ(e.sequence, 3u);
    cursor(1) = -7;
    EXPECT_EQ(rfs_get_next_event(h, 1, &e), 0);
    EXPECT_EQ(e.sequence, 0u);
}

TEST_F(NavigateTest, EachCallKeepsItsOwnCodes) {
    place(1, std::vector<Ev>{{"08:00:00", "08:10:00"}});
    RfsEvent e{};
    RfsEventList l{};
    RfsDateTime t = dt("08:00:00");
    struct Case {
        const char *name;
        uint32_t h;
        int32_t chn;
        int get, current, pre, next, seek;
    };
    const Case cases[] = {
        {"handle above 63", 64, 1, RFS_ERR_HANDLE, RFS_ERR_SEARCH_HANDLE, RFS_ERR_SEARCH_HANDLE,
         RFS_ERR_SEARCH_HANDLE, RFS_ERR_HANDLE},
        {"negative channel", 0, -1, RFS_ERR_CHANNEL, RFS_ERR_CHANNEL, RFS_ERR_CHANNEL,
         RFS_ERR_CHANNEL, RFS_ERR_CHANNEL},
        {"channel at max_rec_chn", 0, kChannels, RFS_ERR_CHANNEL, RFS_ERR_CHANNEL,
         RFS_ERR_CHANNEL, RFS_ERR_CHANNEL, RFS_ERR_CHANNEL},
        {"session not in use", 1, 1, RFS_ERR_SEARCH_HANDLE, RFS_ERR_SEARCH_HANDLE,
         RFS_ERR_SEARCH_HANDLE, RFS_ERR_SEARCH_HANDLE, RFS_ERR_SEARCH_HANDLE},
        {"empty channel", 0, 2, 0, RFS_ERR_NO_EVENTS, RFS_ERR_NO_EVENTS, RFS_ERR_NO_EVENTS,
         RFS_ERR_NO_EVENTS},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(rfs_get_event(c.h, c.chn, &l), c.get);
        EXPECT_EQ(rfs_get_current_event(c.h, c.chn, &e), c.current);
        EXPECT_EQ(rfs_get_pre_event(c.h, c.chn, &e), c.pre);
        EXPECT_EQ(rfs_get_next_event(c.h, c.chn, &e), c.next);
        EXPECT_EQ(rfs_event_seek(c.h, c.chn, &t, &t, 0), c.seek);
    }
    EXPECT_EQ(rfs_get_event(0, 1, nullptr), RFS_ERR_NULL);
    EXPECT_TRUE(log_.contains("pointer is null!"));
    EXPECT_TRUE(log_.contains("invalid handel"));
    EXPECT_TRUE(log_.contains("1 handle isn't exist"));
    EXPECT_TRUE(log_.contains("chn2 have not search or no event"));
}

TEST_F(NavigateTest, SeekLandsInAnEventInAGapOrNowhere) {
    place(0, std::vector<Ev>{{"08:00:00", "08:10:00"}, {"09:00:00", "09:10:00"},
                             {"09:05:00", "09:30:00", 1}, {"10:00:00", "10:20:00"},
                             {"13:50:00", "14:40:00"}, {"14:30:00", "14:35:00"},
                             {"16:00:00", "19:00:00"}});
    struct Case {
        const char *name, *t, *end;
        int backward, code, cursor;
        const char *find_start_time;
    };
    const Case cases[] = {
        {"forward in an event", "08:05:00", "23:59:59", 0, 0, 0, "[26/3/1 7:5:0]"},
        {"forward in a gap takes the next visible event", "09:20:00", "23:59:59", 0, 0, 3, nullptr},
        {"forward into an overlap", "14:32:00", "23:59:59", 0, 0, 4, nullptr},
        {"forward in the first hour looks back to midnight", "00:30:00", "23:59:59", 0, 0, 0,
         "[26/3/1 0:0:0]"},
        {"forward after every event", "19:30:00", "23:59:59", 0, RFS_ERR_SEEK_NOT_FOUND, -1, nullptr},
        {"forward with the range before every event", "07:00:00", "07:30:00", 0,
         RFS_ERR_SEEK_NOT_FOUND, -1, nullptr},
        {"backward in an event", "08:05:00", "08:05:00", 1, 0, 0, nullptr},
        {"backward from the range end", "14:00:00", "14:33:00", 1, 0, 5, nullptr},
        {"backward into a covered record only", "09:20:00", "09:20:00", 1,
         RFS_ERR_SEEK_NOT_FOUND, -1, nullptr},
        {"backward to a long event begun before the look-back", "18:00:00", "18:00:00", 1, 0, 6,
         nullptr},
        {"backward with the range before every event", "07:00:00", "07:30:00", 1,
         RFS_ERR_SEEK_NOT_FOUND, -1, nullptr},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        cursor(0) = -1;
        log_.clear();
        EXPECT_EQ(seek(0, c.t, c.end, c.backward), c.code);
        EXPECT_EQ(cursor(0), c.cursor);
        if (c.find_start_time) {
            EXPECT_TRUE(log_.contains(std::string("find_start_time:") + c.find_start_time));
        }
    }
}

TEST_F(NavigateTest, ForwardSeekLooksBackNinetyNineRecords) {
    // A short record every 30 s from 10:00:30, then one at 11:40; the seek
    // at 11:30 starts its walk at 10:30 and finds 11:40 first.
    auto list = [](int long_at) {
        std::vector<RfsEvent> events(122);
        rfs::unpack_time(at("2026-03-01 08:00:00"), &events[0].start);
        rfs::unpack_time(at("2026-03-01 08:00:05"), &events[0].end);
        for (int k = 1; k <= 120; ++k) {
            rec::PackedTime s = rec::add_seconds(at("2026-03-01 10:00:00"), 30 * k);
            rfs::unpack_time(s, &events[size_t(k)].start);
            rfs::unpack_time(rec::add_seconds(s, 5), &events[size_t(k)].end);
        }
        rfs::unpack_time(at("2026-03-01 11:40:00"), &events[121].start);
        rfs::unpack_time(at("2026-03-01 11:45:00"), &events[121].end);
        if (long_at >= 0) rfs::unpack_time(at("2026-03-01 12:00:00"), &events[size_t(long_at)].end);
        return events;
    };
    struct Case {
        int long_at, cursor;
    };
    for (Case c : {Case{-1, 121}, Case{30, 30}, Case{22, 22}, Case{21, 121}, Case{0, 121}}) {
        SCOPED_TRACE(c.long_at);
        free(rfs::g_search[handle_].event_list[0]);
        place(0, list(c.long_at));
        EXPECT_EQ(seek(0, "11:30:00", "23:59:59", 0), 0);
        EXPECT_EQ(cursor(0), c.cursor);
    }
}

TEST_F(NavigateTest, BinarySearchFindsTheLastStartAtOrBelowTheKey) {
    std::vector<RfsEvent> one(1);
    one[0].start = dt("10:00:00");
    RfsDateTime before = dt("09:59:59"), same = dt("10:00:00"), after = dt("11:00:00");
    EXPECT_EQ(rfs::event_binary_search(&before, one.data(), 1, 0), -1);
    EXPECT_EQ(rfs::event_binary_search(&same, one.data(), 1, 0), 0);
    EXPECT_EQ(rfs::event_binary_search(&after, one.data(), 1, 1), 0);

    std::vector<RfsEvent> four(4);
    const char *starts[] = {"08:00:00", "09:00:00", "09:00:00", "12:00:00"};
    for (int i = 0; i < 4; ++i) four[size_t(i)].start = dt(starts[i]);
    RfsDateTime nine = dt("09:30:00"), end = dt("13:00:00");
    EXPECT_EQ(rfs::event_binary_search(&nine, four.data(), 4, 0), 2);
    EXPECT_EQ(rfs::event_binary_search(&end, four.data(), 4, 0), 3);
}
