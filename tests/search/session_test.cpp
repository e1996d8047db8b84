// rfs_find_start's checks and dispatch, and the 64-session pool.
#include "frame/state.h"
#include "search_fixture.h"

TEST_F(SearchTest, ParameterChecksAndDispatchCodes) {
    RfsSearchParam p = param(Query{});
    RfsEventList out{};
    struct Case { uint8_t data_type, search_type; bool with_out; int code; } cases[] = {
        {0, 2, false, RFS_ERR_NULL},       {0, 1, false, RFS_ERR_NULL},
        {0, 5, true, RFS_ERR_SEARCH_TYPE},
        {0, 0, true, RFS_ERR_FAILED},      {2, 0, true, RFS_ERR_FAILED}, // calendars: not yet
        {0, 1, true, RFS_ERR_FAILED},      {1, 3, true, RFS_ERR_FAILED}, // timeline, pictures
        {0, 3, false, 0},                  {2, 2, true, 0}, // another data type: an empty session
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << int(c.data_type) << "/" << int(c.search_type));
        p.data_type = c.data_type;
        p.search_type = c.search_type;
        EXPECT_EQ(rfs_find_start(&p, c.with_out ? &out : nullptr, 0), c.code);
        EXPECT_EQ(rfs::g_search[0].state, c.code ? 0 : c.data_type == 0 ? 1 : 2);
        RfsEventList l{reinterpret_cast<RfsEvent *>(8), 5};
        if (c.code == 0) {
            EXPECT_EQ(rfs_get_event(0, 0, &l), 0);
            EXPECT_EQ(std::make_pair(l.list, l.count), std::make_pair((RfsEvent *)nullptr, 0));
        }
        rfs_find_stop(0);
    }
    EXPECT_EQ(rfs_find_start(nullptr, &out, 0), RFS_ERR_NULL);
    rfs_exit();
    EXPECT_EQ(rfs_find_start(&p, &out, 0), RFS_ERR_FAILED);
    for (const char *line : {"param which input is err", "find type err", "rfs system is not init!!!"})
        EXPECT_TRUE(log_.contains(line)) << line;
}

TEST_F(SearchTest, PoolOfSixtyFourSessions) {
    Query q = day("2026-03-01");
    for (int i = 0; i < 64; ++i) ASSERT_EQ(search(q), i);
    EXPECT_EQ(search(q), RFS_ERR_NO_SEARCH_SESSION);
    EXPECT_TRUE(log_.contains("have no g_output"));
    for (uint32_t h : {17u, 17u, 64u, 0xFFFFFFFFu}) EXPECT_EQ(rfs_find_stop(h), 0);
    EXPECT_EQ(search(q), 17);

    rfs_find_stop(3);
    rfs::g_search[3].event_cursor[1] = 7;
    q.search_type = 2;
    RfsEventList merged{reinterpret_cast<RfsEvent *>(8), 9};
    EXPECT_EQ(search(q, &merged), 3); // nothing found: an empty list
    EXPECT_EQ(std::make_pair(merged.list, merged.count), std::make_pair((RfsEvent *)nullptr, 0));
    EXPECT_EQ(rfs::g_search[3].event_cursor[1], -1);
}
