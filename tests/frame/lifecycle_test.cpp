#include <gtest/gtest.h>

#include <climits>
#include <malloc.h>
#include <tuple>

#include "frame/alloc.h"
#include "frame/state.h"
#include "repair/repair_report.h"
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
        {INT_MIN, 1, -1, "invalid rec channel! init rfs failed!, max_rec_chn:-2147483648\n"},
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
        EXPECT_TRUE(!counts_stored || max_rec_nr == 3 * c.chn);
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
        EXPECT_EQ(std::tuple(e.in_use, e.gfd, e.fd_a, e.fd_b, e.pos_a, e.pos_b, e.cur_file),
                  std::tuple(0, -1, -1, -1, -1, -1, 0u)) << i;
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

#if defined(__SANITIZE_ADDRESS__)
#define RFS_HEAP_COUNTED 0 // the sanitizer's allocator keeps its own books (and finds leaks itself)
#else
#define RFS_HEAP_COUNTED 1
#endif

// A second start and a stop with searches still open give back everything:
// the tables, the session arrays and the lists an open search holds; a
// second start also what a read session left open holds, and the stop the
// repair reports of the mounts. The tables of 512 channels take over a
// megabyte, so a leak shows in the heap.
TEST_F(Lifecycle, RestartAndStopWithOpenSearchesFreeEverything) {
    if (!RFS_HEAP_COUNTED) GTEST_SKIP() << "heap counted by the sanitizer";
    auto in_use = [] { return mallinfo2().uordblks; };
    auto open_search_with_lists = [] {
        RfsSearchParam p{};
        p.data_type = 2; // a session that stays open with empty lists
        p.search_type = 3;
        int h = rfs_find_start(&p, nullptr, 0);
        ASSERT_GE(h, 0);
        g_search[h].event_list[3] = static_cast<RfsEvent *>(malloc(200 * sizeof(RfsEvent)));
        g_search[h].pic_list[5] = static_cast<RfsPic *>(malloc(100 * sizeof(RfsPic)));
        g_label_list[7].list = static_cast<RfsLabel *>(malloc(100 * sizeof(RfsLabel)));
        g_read_session[9].index_cache = static_cast<uint8_t *>(malloc(16 * 1024));
        for (int id = 0; id < kMaxDisks; ++id) {
            repair_report_begin(id);
            for (int i = 0; i < 100; ++i) repair_report_add(RfsRepairAction{});
        }
    };
    ASSERT_EQ(rfs_init(512, 1), 0);
    rfs_exit();
    const size_t before = in_use();
    for (int round = 0; round < 4; ++round) {
        ASSERT_EQ(rfs_init(512, 1), 0);
        open_search_with_lists();
        ASSERT_EQ(rfs_init(512, 1), 0); // the first tables and lists go
        open_search_with_lists();
        EXPECT_EQ(rfs_init(8, 0), -1); // refused after the tables went: none sized for 512 stay
        EXPECT_EQ(g_search[0].event_list, nullptr);
        ASSERT_EQ(rfs_init(512, 1), 0);
        open_search_with_lists();
        EXPECT_EQ(rfs_exit(), 0);
    }
    EXPECT_LT(in_use(), before + 64 * 1024);
}
