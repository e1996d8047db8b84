// rfs_find_start's checks and dispatch, the 64-session pool and its release.
#include "frame/state.h"
#include "search/session.h"
#include "search_fixture.h"

TEST_F(SearchTest, ParameterChecksAndDispatchCodes) {
    RfsSearchParam p = param(Query{});
    RfsEventList out{};
    struct Case {
        const char *name;
        uint8_t data_type, search_type;
        bool with_out;
        int code; // >= 0: a handle is expected
    };
    const Case cases[] = {
        {"merged without out", 0, 2, false, RFS_ERR_NULL},
        {"timeline without out", 0, 1, false, RFS_ERR_NULL},
        {"bad search type", 0, 5, true, RFS_ERR_SEARCH_TYPE},
        {"month calendar not available", 0, 0, true, RFS_ERR_FAILED},
        {"label calendar not available", 2, 0, true, RFS_ERR_FAILED},
        {"timeline not available", 0, 1, true, RFS_ERR_FAILED},
        {"picture lists not available", 1, 3, true, RFS_ERR_FAILED},
        {"per-channel without out", 0, 3, false, 0},
        {"other data type: empty session", 2, 2, true, 0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        p.data_type = c.data_type;
        p.search_type = c.search_type;
        int r = rfs_find_start(&p, c.with_out ? &out : nullptr, 0);
        if (c.code < 0) {
            EXPECT_EQ(r, c.code);
            for (const rfs::SearchSession &s : rfs::g_search) EXPECT_EQ(s.state, 0);
            continue;
        }
        ASSERT_EQ(r, 0); // the lowest free session
        EXPECT_EQ(rfs::g_search[0].state, c.data_type == 0 ? 1 : 2);
        RfsEventList l{reinterpret_cast<RfsEvent *>(8), 5};
        EXPECT_EQ(rfs_get_event(0, 0, &l), 0);
        EXPECT_EQ(l.list, nullptr);
        EXPECT_EQ(l.count, 0);
        EXPECT_EQ(rfs_find_stop(0), 0);
        EXPECT_EQ(rfs::g_search[0].state, 0);
    }
    EXPECT_EQ(rfs_find_start(nullptr, &out, 0), RFS_ERR_NULL);
    EXPECT_TRUE(log_.contains("param which input is err"));
    EXPECT_TRUE(log_.contains("find type err"));

    rfs_exit();
    EXPECT_EQ(rfs_find_start(&p, &out, 0), RFS_ERR_FAILED);
    EXPECT_TRUE(log_.contains("rfs system is not init!!!"));
}

TEST_F(SearchTest, PoolOfSixtyFourSessions) {
    Query q;
    q.start = at("2026-03-01 00:00:00");
    q.end = at("2026-03-01 23:59:59");
    for (int i = 0; i < 64; ++i) ASSERT_EQ(search(q), i);
    EXPECT_EQ(search(q), RFS_ERR_NO_SEARCH_SESSION);
    EXPECT_TRUE(log_.contains("have no g_output"));
    EXPECT_EQ(rfs_find_stop(17), 0);
    EXPECT_EQ(rfs_find_stop(17), 0); // twice is harmless
    EXPECT_EQ(rfs_find_stop(64), 0);
    EXPECT_EQ(rfs_find_stop(0xFFFFFFFF), 0);
    EXPECT_EQ(search(q), 17);

    // A merged search that finds nothing hands out an empty list.
    rfs_find_stop(3);
    q.search_type = 2;
    RfsEventList merged{reinterpret_cast<RfsEvent *>(8), 9};
    EXPECT_EQ(search(q, &merged), 3);
    EXPECT_EQ(merged.list, nullptr);
    EXPECT_EQ(merged.count, 0);
}

TEST_F(SearchTest, ReleaseFreesListsButKeepsCursorsAndTimes) {
    Query q;
    ASSERT_EQ(search(q), 0);
    rfs::SearchSession &s = rfs::g_search[0];
    s.event_list[2] = static_cast<RfsEvent *>(malloc(3 * sizeof(RfsEvent)));
    s.pic_list[5] = static_cast<RfsPic *>(malloc(sizeof(RfsPic)));
    s.buf_len[2] = 3;
    s.data_len[2] = 1;
    s.event_cursor[2] = 7;
    s.earliest_start = 42;
    rfs::release_search_session(0);
    EXPECT_EQ(s.state, 0);
    EXPECT_EQ(s.event_list[2], nullptr);
    EXPECT_EQ(s.pic_list[5], nullptr);
    EXPECT_EQ(s.buf_len[2], 0);
    EXPECT_EQ(s.data_len[2], 0);
    EXPECT_EQ(s.event_cursor[2], 7);
    EXPECT_EQ(s.earliest_start, 42u);
}
