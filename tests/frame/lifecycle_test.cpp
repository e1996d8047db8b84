#include <gtest/gtest.h>

#include "frame/alloc.h"
#include "frame/state.h"
#include "rfs.h"
#include "support/log_capture.h"

using namespace rfs;

class Lifecycle : public ::testing::Test {
  protected:
    void TearDown() override {
        set_alloc_failure(-1);
        rfs_exit();
    }
};

TEST_F(Lifecycle, ChannelAndMotionCountBounds) {
    struct Case {
        int chn, moarea, result;
        const char *log;
    } cases[] = {
        {0, 1, -1, "invalid rec channel! init rfs failed!, max_rec_chn:0\n"},
        {513, 1, -1, "invalid rec channel! init rfs failed!, max_rec_chn:513\n"},
        {-5, 1, -1, "invalid rec channel! init rfs failed!, max_rec_chn:-5\n"},
        {512, 1, 0, "rfs max rec channel is 512\n"},
        {8, 0, -1, "invalid moarea nums! init rfs failed!\n"},
        {8, -3, -1, "invalid moarea nums! init rfs failed!\n"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.chn);
        rfs_exit();
        max_rec_chn = 77;
        LogCapture log;
        EXPECT_EQ(rfs_init(c.chn, c.moarea), c.result);
        EXPECT_TRUE(log.contains(c.log));
        bool counts_stored = c.chn >= 1 && c.chn <= 512;
        EXPECT_EQ(max_rec_chn, counts_stored ? c.chn : 77);
        if (counts_stored) {
            EXPECT_EQ(max_rec_nr, 3 * c.chn);
        }
        EXPECT_EQ(g_rfs_inited, c.result == 0 ? 1 : 0);
    }
}

TEST_F(Lifecycle, InitialStateOfTables) {
    LogCapture log;
    ASSERT_EQ(rfs_init(4, 1), 0);
    EXPECT_TRUE(log.contains("\n========rfs version:5.1 (905)========\n\n"));
    ASSERT_NE(g_rfs_fd, nullptr);
    for (int i = 0; i < 12; ++i) {
        const RfsFdEntry &e = g_rfs_fd[i];
        EXPECT_EQ(e.in_use, 0);
        EXPECT_EQ(e.gfd, -1);
        EXPECT_EQ(e.fd_a, -1);
        EXPECT_EQ(e.fd_b, -1);
        EXPECT_EQ(e.pos_a, -1);
        EXPECT_EQ(e.pos_b, -1);
        EXPECT_EQ(e.cur_file, 0u);
    }
    for (const ReadSession &rd : g_read_session) EXPECT_EQ(rd.iframe_fd, -1);
    for (const SearchSession &s : g_search) {
        ASSERT_NE(s.event_cursor, nullptr);
        for (int c = 0; c < 4; ++c) EXPECT_EQ(s.event_list[c], nullptr);
    }
    EXPECT_EQ(rfs_exit(), 0);
    EXPECT_EQ(g_rfs_fd, nullptr);
    EXPECT_EQ(g_search[0].event_list, nullptr);
    EXPECT_EQ(rfs_exit(), 0);
}

// Requests in order: repair table, label list, g_rfs_fd, then five arrays per
// search session.
TEST_F(Lifecycle, AllocationFailures) {
    struct Case {
        long fail_at;
        int result;
        const char *log;
        bool repair_kept, rfs_fd_set, sessions_set;
    } cases[] = {
        {0, -1, "malloc failed\n", false, false, false},
        {1, -1, "malloc failed\n", true, false, false},
        {2, 0, "malloc g_rfs_fd failed\n", true, false, true},
        {3 + 5 * 7 + 2, 0, "malloc failed\n", true, true, false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.fail_at);
        rfs_exit();
        g_repair_record_time = nullptr;
        LogCapture log;
        set_alloc_failure(c.fail_at);
        EXPECT_EQ(rfs_init(6, 1), c.result);
        EXPECT_TRUE(log.contains(c.log));
        EXPECT_EQ(g_repair_record_time != nullptr, c.repair_kept);
        EXPECT_EQ(g_rfs_fd != nullptr, c.rfs_fd_set);
        EXPECT_EQ(g_search[63].event_list != nullptr, c.sessions_set);
    }
}

TEST_F(Lifecycle, NasModeIsStoredAsGiven) {
    EXPECT_EQ(rfs_set_nas_mode(2), 0);
    EXPECT_EQ(g_nas_mode, 2);
    EXPECT_TRUE(nas_mode());
    rfs_set_nas_mode(0);
    EXPECT_FALSE(nas_mode());
}
