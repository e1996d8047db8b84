// rfs_init / rfs_exit: the channel-sized tables and the session tables.
#include <csignal>
#include <cstdlib>
#include <cstring>

#include "frame/alloc.h"
#include "frame/exit_hooks.h"
#include "frame/log.h"
#include "frame/state.h"
#include "frame/storage.h"

namespace rfs {

namespace {
constexpr int kPrintToggleSignal = 34;

void reset_rfs_fd_table() {
    for (int i = 0; i < max_rec_nr; ++i) {
        RfsFdEntry &e = g_rfs_fd[i];
        memset(&e, 0, sizeof e);
        e.gfd = e.fd_a = e.fd_b = e.pos_a = e.pos_b = -1;
    }
}

void free_session_arrays(SearchSession &s) {
    free(s.event_list);
    free(s.pic_list);
    free(s.data_len);
    free(s.buf_len);
    free(s.event_cursor);
}

bool allocate_session_arrays(SearchSession &s) {
    size_t n = size_t(max_rec_chn);
    s.event_list = static_cast<RfsEvent **>(rfs_malloc(n * sizeof(RfsEvent *)));
    if (!s.event_list) return false;
    s.pic_list = static_cast<RfsPic **>(rfs_malloc(n * sizeof(RfsPic *)));
    if (!s.pic_list) return false;
    s.data_len = static_cast<int32_t *>(rfs_malloc(n * sizeof(int32_t)));
    if (!s.data_len) return false;
    s.buf_len = static_cast<int32_t *>(rfs_malloc(n * sizeof(int32_t)));
    if (!s.buf_len) return false;
    s.event_cursor = static_cast<int32_t *>(rfs_malloc(n * sizeof(int32_t)));
    if (!s.event_cursor) return false;
    memset(s.event_list, 0, n * sizeof(RfsEvent *));
    memset(s.pic_list, 0, n * sizeof(RfsPic *));
    memset(s.data_len, 0, n * sizeof(int32_t));
    memset(s.buf_len, 0, n * sizeof(int32_t));
    memset(s.event_cursor, 0, n * sizeof(int32_t));
    return true;
}

int set_up_tables() {
    memset(g_search, 0, sizeof g_search);
    for (int i = 0; i < kSearchSessions; ++i) {
        if (allocate_session_arrays(g_search[i])) continue;
        for (int j = 0; j <= i; ++j) free_session_arrays(g_search[j]);
        rfs_log("malloc failed\n");
        memset(g_search, 0, sizeof g_search);
        return -1;
    }
    // Sessions a host left open before this start lose their descriptor and
    // cache, which nothing could reach once the table is set up anew.
    for (ReadSession &rd : g_read_session) release_read_session(rd);
    // 34 need not be a signal on every host; a failed installation is harmless.
    (void)signal(kPrintToggleSignal, toggle_print_flag);
    return 0;
}

// The label arrays of a label search still open go with the table.
void free_label_list() {
    for (int c = 0; g_label_list && c < max_rec_chn; ++c) free(g_label_list[c].list);
    free(g_label_list);
    g_label_list = nullptr;
}

// Everything an earlier rfs_init allocated, with the lists of searches still
// open: the host is expected to stop them first, but one it forgot must not
// leak, nor outlive the tables sized for its channel count.
void release_tables() {
    g_rfs_inited = 0;
    free(g_repair_record_time);
    g_repair_record_time = nullptr;
    free_label_list();
    for (SearchSession &s : g_search) {
        free_session_lists(s);
        free_session_arrays(s);
    }
    memset(g_search, 0, sizeof g_search);
    free(g_rfs_fd);
    g_rfs_fd = nullptr;
}
} // namespace

void release_read_session(ReadSession &s) {
    if (s.iframe_fd >= 0) storage_close(s.iframe_fd);
    free(s.index_cache);
    s = ReadSession{};
}

void free_session_lists(SearchSession &s) {
    for (int c = 0; s.event_list && c < max_rec_chn; ++c) {
        free(s.event_list[c]);
        free(s.pic_list[c]);
        s.event_list[c] = nullptr;
        s.pic_list[c] = nullptr;
        s.buf_len[c] = 0;
        s.data_len[c] = 0;
    }
}

} // namespace rfs

using namespace rfs;

extern "C" RFS_API int rfs_init(int chn_count, int moarea_nums) noexcept {
    if (unsigned(chn_count) - 1u > 511u) { // unsigned, so INT_MIN cannot overflow
        rfs_log("invalid rec channel! init rfs failed!, max_rec_chn:%d\n", chn_count);
        return -1;
    }
    // A second start frees the first one's tables before the new channel count
    // is stored: tables sized for another count must never be used with it.
    release_tables();
    max_rec_chn = chn_count;
    rfs_log("rfs max rec channel is %d\n", max_rec_chn);
    max_rec_nr = 3 * max_rec_chn;
    rfs_log("rfs max rec nr is %d\n", max_rec_nr);
    if (moarea_nums <= 0) {
        rfs_log("invalid moarea nums! init rfs failed!\n");
        return -1;
    }

    size_t repair_bytes = size_t(max_rec_chn / 2) * sizeof(RepairTimeEntry);
    g_repair_record_time = static_cast<RepairTimeEntry *>(rfs_malloc(repair_bytes));
    if (!g_repair_record_time) {
        rfs_log("malloc failed\n");
        return -1;
    }
    g_label_list = static_cast<LabelListEntry *>(rfs_malloc(size_t(max_rec_chn) * sizeof(LabelListEntry)));
    if (!g_label_list) {
        rfs_log("malloc failed\n"); // the repair table stays allocated and stored
        return -1;
    }
    memset(g_label_list, 0, size_t(max_rec_chn) * sizeof(LabelListEntry));
    memset(WriteStateTable, 0, sizeof WriteStateTable);
    memset(g_repair_record_time, 0, repair_bytes);

    g_rfs_fd = static_cast<RfsFdEntry *>(rfs_malloc(size_t(max_rec_nr) * sizeof(RfsFdEntry)));
    if (!g_rfs_fd)
        rfs_log("malloc g_rfs_fd failed\n");
    else
        reset_rfs_fd_table();

    (void)set_up_tables(); // a failure leaves no usable search session, not a failed init
    g_rfs_inited = 1;
    rfs_log("\n========rfs version:%d.%d (905)========\n\n", 5, 1);
    return 0;
}

// The disks stay mounted, but the host is done reading what their mounts
// repaired. Not on rfs_init: a disk may be mounted before the library starts.
extern "C" RFS_API int rfs_exit(void) noexcept {
    release_tables();
    exit_release_repair_reports();
    return 0;
}
