// Every export at the C boundary, misused: null pointers, ids out of range,
// sessions never started or already stopped, times outside what they name,
// and all of it again before rfs_init and after rfs_exit. Each call gets its
// own code, writes nothing to the disk, and leaves no descriptor open. An
// export added later is one row more.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "disk_alias.h"
#include "fault_storage.h"
#include "frame/state.h"
#include "frame/time.h"
#include "posix_storage.h"
#include "recorder.h"
#include "rfs.h"
#include "support/temp_dir.h"

namespace {

constexpr int kNotRun = 1; // no export answers 1: the row is left out in that state

constexpr int kAsReady = INT_MIN; // before rfs_init or after rfs_exit: the code given when initialised

struct Row {
    const char *what;
    std::function<int()> call;
    int ready, before_init = kAsReady, after_exit = kAsReady;
};

size_t open_descriptors() {
    auto fds = std::filesystem::directory_iterator("/proc/self/fd");
    return size_t(std::distance(begin(fds), end(fds)));
}

RfsDateTime dt(const char *text) {
    RfsDateTime t{};
    rfs::unpack_time(rec::t(text), &t);
    return t;
}

class Boundary : public ::testing::Test {
  protected:
    void TearDown() override { finish(); }

    // One disk with one event of channel 2; a live search and a stopped one,
    // a read session started and one stopped.
    void prepare() {
        rfs_host::clear_aliases();
        rfs_host::fault_install(rfs_host::posix_ops());
        rfs_set_nas_mode(0);
        ASSERT_EQ(rfs_init(8, 1), 0);
        rec::DiskShape shape;
        shape.files_per_partition = 4;
        rec::Recorder r(shape, tmp_.file("d"));
        r.record(2, rec::t("2026-03-01 12:00:00"), rec::t("2026-03-01 12:00:20"), rec::kTimed);
        r.finish();
        path_ = rfs_host::alias_disk(tmp_.file("d"));
        ASSERT_EQ(rfs_add_disk(0, path_.c_str(), 0, 0, nullptr), 0);
        RfsSearchParam p = day(0, 3);
        stopped_ = uint32_t(rfs_find_start(&p, nullptr, 0));
        live_ = uint32_t(rfs_find_start(&p, nullptr, 0));
        ASSERT_EQ(std::pair(stopped_, live_), std::pair(0u, 1u));
        ev_ = rfs::g_search[live_].event_list[2][0];
        stale_ev_ = rfs::g_search[stopped_].event_list[2][0];
        rfs_find_stop(stopped_);
        key_.file_no = uint16_t(ev_.record_id);
        key_.start = ev_.start;
        key_.end = ev_.end;
        rd_ = rfs_read_start(2);
        stopped_rd_ = rfs_read_start(2);
        rfs_read_stop(stopped_rd_);
    }
    void finish() {
        for (int rd = 0; rd < rfs::kReadSessions; ++rd) rfs_read_stop(rd);
        for (uint32_t h = 0; h < 64; ++h) rfs_find_stop(h);
        rfs_remove_disk(0);
        rfs_exit();
        rfs_host::fault_clear_rules();
    }
    // A fresh process before rfs_init: no tables, no channel count, read
    // sessions as the loader left them.
    void enter(int state) {
        if (state == 0) return;
        rfs_exit();
        if (state == 2) return;
        rfs::max_rec_chn = rfs::max_rec_nr = 0;
        for (rfs::ReadSession &s : rfs::g_read_session) s = rfs::ReadSession{};
    }
    // Gives back what calls that do not check their session left open.
    void close_every_read_session() {
        while (rfs_read_start(0) >= 0) {
        }
        for (int rd = 0; rd < rfs::kReadSessions; ++rd) rfs_read_stop(rd);
    }

    // The day of the event, every channel.
    RfsSearchParam day(uint8_t data_type, uint8_t search_type) {
        RfsSearchParam p{};
        p.data_type = data_type;
        p.search_type = search_type;
        p.chnCnt = 8;
        p.record_type = ~0ull;
        p.chnBit = channels_;
        p.start = dt("2026-03-01 00:00:00");
        p.end = dt("2026-03-01 23:59:59");
        return p;
    }
    std::vector<Row> rows();

    TempDir tmp_;
    std::string path_;
    uint8_t channels_[1] = {0xFF};
    uint32_t stopped_ = 0, live_ = 0;
    int rd_ = 0, stopped_rd_ = 0;
    const int never_rd_ = 63;
    RfsEvent ev_{}, stale_ev_{};
    RfsEventKey key_{};
    RfsEvent out_{};
    RfsDateTime t_ = dt("2026-03-01 12:00:10"), before_ = dt("2026-03-01 11:59:59");
    RfsDateTime month13_ = [] { RfsDateTime t = dt("2026-12-01 12:00:00"); t.month = 13; return t; }();
    std::vector<uint8_t> buf_ = std::vector<uint8_t>(65536);
    unsigned skip_ = 0;
    uint8_t mask_[72] = {}, fs_ = 0;
    uint32_t mb_ = 0;
    // Outputs the calls fill when they succeed.
    RfsEventList list_{};
    MoareaResult motion_{};
    RfsRepairAction actions_[4] = {};
    RfsPartitionInfo part_{};
    RfsMonthResult month_{};
    RfsDaySlots day_{};
    RfsPicList pics_{};
    RfsLabelList labels_{};
};

std::vector<Row> Boundary::rows() {
    uint8_t *b = buf_.data();
    RfsEventKey disk40 = key_, part16 = key_, file_max = key_;
    disk40.disk = 40;
    part16.partition = 16;
    file_max.file_no = 0xFFFF;
    RfsEvent disk9 = ev_;
    disk9.record_id |= 9u << 24;
    auto search = [this](uint8_t type, bool with_out) {
        RfsSearchParam p{};
        p.search_type = type;
        return rfs_find_start(&p, with_out ? &list_ : nullptr, 0);
    };
    auto sessionless = [](RfsSearchParam p, void *out) { return rfs_find_start(&p, out, 0); };
    RfsSearchParam in_month13 = day(0, 0), no_channels = day(2, 3);
    in_month13.start = month13_;
    no_channels.chnBit = nullptr;
    // Picture records as a host might pass them back: of an event search,
    // of a handle past every session.
    RfsPic of_event_search{}, handle65{};
    of_event_search.handle = uint8_t(live_);
    handle65.handle = 65;
    const int kErr = RFS_ERR_FAILED;
    return {
        // Disks
        {"add disk 32", [=, this] { return rfs_add_disk(32, path_.c_str(), 0, 0, nullptr); }, RFS_ERR_TIME},
        {"add disk -1", [=, this] { return rfs_add_disk(-1, path_.c_str(), 0, 0, nullptr); }, RFS_ERR_TIME},
        {"add disk, no path", [] { return rfs_add_disk(1, nullptr, 0, 0, nullptr); }, RFS_ERR_NULL},
        {"add disk, no such disk", [] { return rfs_add_disk(1, "/rfs/none", 0, 0, nullptr); }, kErr},
        {"remove disk 32", [] { return rfs_remove_disk(32); }, kErr},
        {"remove disk -1", [] { return rfs_remove_disk(-1); }, kErr},
        {"remove an empty slot", [] { return rfs_remove_disk(9); }, 0},
        {"format, no path", [] { return rfs_format_is_valid(nullptr); }, RFS_ERR_NULL},
        {"data file size, disk 32", [] { return rfs_get_data_file_size(32); }, kErr},
        {"data file size, disk -1", [] { return rfs_get_data_file_size(-1); }, kErr},
        {"data file size, empty slot", [] { return rfs_get_data_file_size(9); }, kErr},
        {"disk size, empty slot", [=, this] { return rfs_get_disk_size(9, &mb_, &mb_, &fs_); }, kErr},
        {"disk size, no outputs", [] { return rfs_get_disk_size(0, nullptr, nullptr, nullptr); }, RFS_ERR_NULL},
        {"partition info, disk 32", [=, this] { return rfs_get_partition_info(32, 0, &part_); }, kErr},
        {"partition info, empty slot", [=, this] { return rfs_get_partition_info(9, 0, &part_); }, kErr},
        {"partition info, partition 1 of 1", [=, this] { return rfs_get_partition_info(0, 1, &part_); }, RFS_ERR_MISSING},
        {"partition info, partition -1", [=, this] { return rfs_get_partition_info(0, -1, &part_); }, RFS_ERR_MISSING},
        {"partition info, no output", [] { return rfs_get_partition_info(0, 0, nullptr); }, RFS_ERR_NULL},
        // Search
        {"find, no parameters", [=, this] { return rfs_find_start(nullptr, &list_, 0); }, RFS_ERR_NULL, kErr, kErr},
        {"find merged, no output", [=] { return search(2, false); }, RFS_ERR_NULL, kErr, kErr},
        {"find, search type 9", [=] { return search(9, true); }, RFS_ERR_SEARCH_TYPE, kErr, kErr},
        {"find, a valid search", [=] { return search(3, true); }, kNotRun, kErr, kErr},
        {"stop, handle 64", [] { return rfs_find_stop(64); }, 0},
        {"stop, stopped search", [=, this] { return rfs_find_stop(stopped_); }, 0},
        {"get event, handle 64", [=, this] { return rfs_get_event(64, 2, &list_); }, RFS_ERR_HANDLE},
        {"get event, channel -1", [=, this] { return rfs_get_event(live_, -1, &list_); }, RFS_ERR_CHANNEL},
        {"get event, channel 8", [=, this] { return rfs_get_event(live_, 8, &list_); }, RFS_ERR_CHANNEL},
        {"get event, no output", [=, this] { return rfs_get_event(live_, 2, nullptr); }, RFS_ERR_NULL, RFS_ERR_CHANNEL, RFS_ERR_NULL},
        {"get event, stopped search", [=, this] { return rfs_get_event(stopped_, 2, &list_); }, RFS_ERR_SEARCH_HANDLE, RFS_ERR_CHANNEL, RFS_ERR_SEARCH_HANDLE},
        {"current, handle 64", [=, this] { return rfs_get_current_event(64, 2, &out_); }, RFS_ERR_SEARCH_HANDLE},
        {"current, stopped search", [=, this] { return rfs_get_current_event(stopped_, 2, &out_); }, RFS_ERR_SEARCH_HANDLE, RFS_ERR_CHANNEL, RFS_ERR_SEARCH_HANDLE},
        {"current, before the first", [=, this] { return rfs_get_current_event(live_, 2, &out_); }, RFS_ERR_CURSOR, RFS_ERR_CHANNEL, RFS_ERR_SEARCH_HANDLE},
        {"previous, channel -1", [=, this] { return rfs_get_pre_event(live_, -1, &out_); }, RFS_ERR_CHANNEL},
        {"previous, empty channel", [=, this] { return rfs_get_pre_event(live_, 3, &out_); }, RFS_ERR_NO_EVENTS, RFS_ERR_CHANNEL, RFS_ERR_SEARCH_HANDLE},
        {"next, never-started search", [=, this] { return rfs_get_next_event(40, 2, &out_); }, RFS_ERR_SEARCH_HANDLE, RFS_ERR_CHANNEL, RFS_ERR_SEARCH_HANDLE},
        {"event seek, handle 64", [=, this] { return rfs_event_seek(64, 2, &t_, &t_, 0); }, RFS_ERR_HANDLE},
        {"event seek, no times", [=, this] { return rfs_event_seek(live_, 2, nullptr, nullptr, 0); }, RFS_ERR_NULL, RFS_ERR_CHANNEL, RFS_ERR_SEARCH_HANDLE},
        {"event seek, month 13", [=, this] { return rfs_event_seek(live_, 2, &month13_, &month13_, 0); }, RFS_ERR_SEEK_NOT_FOUND, RFS_ERR_CHANNEL, RFS_ERR_SEARCH_HANDLE},
        // Calendars and the timeline answer into the host's buffer: 64 for no session
        {"month calendar", [=, this] { return sessionless(day(0, 0), &month_); }, RFS_NO_SESSION_HANDLE, kErr, kErr},
        {"month calendar, no output", [=, this] { return sessionless(day(0, 0), nullptr); }, RFS_ERR_NULL, kErr, kErr},
        {"month calendar, month 13", [=, this] { return sessionless(in_month13, &month_); }, RFS_NO_SESSION_HANDLE, kErr, kErr},
        {"picture month", [=, this] { return sessionless(day(1, 0), &month_); }, RFS_NO_SESSION_HANDLE, kErr, kErr},
        {"label month", [=, this] { return sessionless(day(2, 0), &month_); }, RFS_NO_SESSION_HANDLE, kErr, kErr},
        {"label month, no output", [=, this] { return sessionless(day(2, 0), nullptr); }, RFS_ERR_NULL, kErr, kErr},
        {"day timeline", [=, this] { return sessionless(day(0, 1), &day_); }, RFS_NO_SESSION_HANDLE, kErr, kErr},
        {"day timeline, no output", [=, this] { return sessionless(day(0, 1), nullptr); }, RFS_ERR_NULL, kErr, kErr},
        {"picture search, type 9", [=, this] { return sessionless(day(1, 9), nullptr); }, RFS_ERR_SEARCH_TYPE, kErr, kErr},
        // Pictures
        {"get pic, handle 64", [=, this] { return rfs_get_pic(64, 0, &pics_); }, RFS_ERR_HANDLE},
        {"get pic, channel -1", [=, this] { return rfs_get_pic(int(live_), -1, &pics_); }, RFS_ERR_CHANNEL},
        {"get pic, no output", [=, this] { return rfs_get_pic(int(live_), 0, nullptr); }, RFS_ERR_NULL, RFS_ERR_CHANNEL, RFS_ERR_NULL},
        {"get pic, an event search", [=, this] { return rfs_get_pic(int(live_), 0, &pics_); }, RFS_ERR_SEARCH_HANDLE, RFS_ERR_CHANNEL, RFS_ERR_SEARCH_HANDLE},
        {"read pic, rd 64", [=, this] { return rfs_read_pic(64, &of_event_search, b, 4096, &skip_); }, RFS_ERR_SEARCH_HANDLE},
        {"read pic, no buffer", [=, this] { return rfs_read_pic(rd_, &of_event_search, nullptr, 4096, &skip_); }, RFS_ERR_NO_MEMORY},
        {"read pic, no picture", [=, this] { return rfs_read_pic(rd_, nullptr, b, 4096, &skip_); }, RFS_ERR_NULL},
        {"read pic, no lead-in output", [=, this] { return rfs_read_pic(rd_, &of_event_search, b, 4096, nullptr); }, RFS_ERR_NULL},
        {"read pic, stopped session", [=, this] { return rfs_read_pic(stopped_rd_, &of_event_search, b, 4096, &skip_); }, RFS_ERR_HANDLE},
        {"read pic, handle 65", [=, this] { return rfs_read_pic(rd_, &handle65, b, 4096, &skip_); }, RFS_ERR_SEARCH_HANDLE, RFS_ERR_HANDLE, RFS_ERR_SEARCH_HANDLE},
        {"read pic, an event search's record", [=, this] { return rfs_read_pic(rd_, &of_event_search, b, 4096, &skip_); }, RFS_ERR_HANDLE},
        // Labels
        {"label search, no parameters", [] { return rfs_find_label_start(nullptr, ""); }, kErr},
        {"label search, no channels", [=] { return rfs_find_label_start(&no_channels, ""); }, kErr},
        {"label search, no keyword", [=, this] { RfsSearchParam p = day(2, 3); return rfs_find_label_start(&p, nullptr); }, 0, kErr, kErr},
        {"get label, channel 8", [=, this] { return rfs_get_label(8, &labels_); }, kErr},
        {"get label, channel -1", [=, this] { return rfs_get_label(-1, &labels_); }, kErr},
        {"get label, no output", [] { return rfs_get_label(0, nullptr); }, kErr},
        {"get label, channel 0", [=, this] { return rfs_get_label(0, &labels_); }, 0, kErr, kErr},
        {"label stop", [] { return rfs_find_label_stop(); }, 0},
        // Playback
        {"read stop, handle 64", [] { return rfs_read_stop(64); }, RFS_ERR_HANDLE},
        {"read stop, handle -1", [] { return rfs_read_stop(-1); }, RFS_ERR_HANDLE},
        {"read stop, stopped session", [=, this] { return rfs_read_stop(stopped_rd_); }, 0},
        {"seek, handle 64", [=, this] { return rfs_tseek(64, &t_, 1, 0, &ev_, 0); }, RFS_ERR_HANDLE},
        {"seek, no time", [=, this] { return rfs_tseek(rd_, nullptr, 1, 0, &ev_, 0); }, RFS_ERR_NULL},
        {"seek, no event", [=, this] { return rfs_tseek(rd_, &t_, 1, 0, nullptr, 0); }, RFS_ERR_NULL},
        {"seek, before the event", [=, this] { return rfs_tseek(rd_, &before_, 1, 0, &ev_, 0); }, RFS_ERR_TIME},
        {"seek, month 13", [=, this] { return rfs_tseek(rd_, &month13_, 1, 0, &ev_, 0); }, RFS_ERR_TIME},
        {"seek, event of a stopped search", [=, this] { return rfs_tseek(rd_, &t_, 1, 0, &stale_ev_, 0); }, RFS_ERR_HANDLE},
        // The seek does not check its read session: one never started seeks.
        {"seek, read session never started", [=, this] { return rfs_tseek(never_rd_, &t_, 1, 0, &ev_, 0); }, 0, RFS_ERR_HANDLE, RFS_ERR_HANDLE},
        {"key seek, handle -1", [=, this] { return rfs_tseek_for_index(-1, &t_, 1, 0, &key_); }, RFS_ERR_HANDLE},
        {"key seek, no key", [=, this] { return rfs_tseek_for_index(rd_, &t_, 1, 0, nullptr); }, RFS_ERR_NULL},
        {"key seek, disk 40", [=, this] { return rfs_tseek_for_index(rd_, &t_, 1, 0, &disk40); }, RFS_ERR_MISSING},
        {"key seek, partition 16", [=, this] { return rfs_tseek_for_index(rd_, &t_, 1, 0, &part16); }, RFS_ERR_MISSING},
        {"key seek, file 65535", [=, this] { return rfs_tseek_for_index(rd_, &t_, 1, 0, &file_max); }, RFS_ERR_MISSING},
        {"key seek, month 13", [=, this] { return rfs_tseek_for_index(rd_, &month13_, 1, 0, &key_); }, RFS_ERR_TIME},
        {"read, handle 64", [=, this] { return rfs_read(64, b, 4096, &skip_, nullptr); }, RFS_ERR_HANDLE},
        {"read, no buffer", [=, this] { return rfs_read(rd_, nullptr, 4096, &skip_, nullptr); }, RFS_ERR_NULL},
        {"read, no lead-in output", [=, this] { return rfs_read(rd_, b, 4096, nullptr, nullptr); }, RFS_ERR_NULL},
        {"read, stopped session", [=, this] { return rfs_read(stopped_rd_, b, 4096, &skip_, nullptr); }, RFS_ERR_HANDLE},
        {"next key frame, step 0", [=, this] { return rfs_get_next_kframe(rd_, b, 4096, &skip_, 0, nullptr); }, RFS_ERR_HANDLE},
        {"previous key frame, step -1", [=, this] { return rfs_get_prev_kframe(rd_, b, 4096, &skip_, -1, nullptr); }, RFS_ERR_HANDLE},
        {"previous key frame, handle 64", [=, this] { return rfs_get_prev_kframe(64, b, 4096, &skip_, 1, nullptr); }, RFS_ERR_HANDLE},
        {"next key frame, no buffer", [=, this] { return rfs_get_next_kframe(rd_, nullptr, 4096, &skip_, 1, nullptr); }, RFS_ERR_NULL},
        // The key-frame calls do not check their session either: one never
        // positioned has no key frame to step to, nor an index block.
        {"next key frame, never positioned", [=, this] { return rfs_get_next_kframe(never_rd_, b, 4096, &skip_, 1, nullptr); }, kNotRun, 0, 0},
        {"current key frame, never positioned", [=, this] { return rfs_get_current_kframe(stopped_rd_, b, 4096, &skip_, nullptr); }, RFS_ERR_KFRAME_INDEX},
        {"frame time, no frame", [=, this] { return rfs_frame_time(nullptr, 4096, &out_.start); }, RFS_ERR_NULL},
        {"frame time, shorter than a header", [=, this] { return rfs_frame_time(b, 39, &out_.start); }, kErr},
        {"frame time, negative length", [=, this] { return rfs_frame_time(b, -1, &out_.start); }, kErr},
        {"first key frame, channel -1", [=, this] { void *p = nullptr; int n = 0; return rfs_get_first_iframe(-1, t_, t_, &p, &n); }, kErr},
        {"first key frame, start after end", [=, this] { void *p = nullptr; int n = 0; return rfs_get_first_iframe(2, t_, before_, &p, &n); }, kErr},
        {"first key frame, no outputs", [=, this] { return rfs_get_first_iframe(2, before_, t_, nullptr, nullptr); }, kErr},
        // Motion areas
        {"motion day, handle 64", [=, this] { return rfs_read_moarea_oneday(64, 2, mask_, 0, &motion_); }, RFS_ERR_HANDLE},
        {"motion day, channel 8", [=, this] { return rfs_read_moarea_oneday(live_, 8, mask_, 0, &motion_); }, RFS_ERR_CHANNEL},
        {"motion day, stopped search", [=, this] { return rfs_read_moarea_oneday(stopped_, 2, mask_, 0, &motion_); }, RFS_ERR_SEARCH_HANDLE, RFS_ERR_CHANNEL, RFS_ERR_SEARCH_HANDLE},
        {"motion day, empty channel", [=, this] { return rfs_read_moarea_oneday(live_, 3, mask_, 0, &motion_); }, RFS_ERR_NO_EVENTS, RFS_ERR_CHANNEL, RFS_ERR_SEARCH_HANDLE},
        {"motion day, no mask", [=, this] { return rfs_read_moarea_oneday(live_, 2, nullptr, 0, &motion_); }, RFS_ERR_NULL, RFS_ERR_CHANNEL, RFS_ERR_SEARCH_HANDLE},
        {"motion, no event", [=, this] { return rfs_read_moarea(mask_, nullptr, 0, &motion_); }, RFS_ERR_NULL},
        {"motion, disk 9", [=, this] { return rfs_read_moarea(mask_, &disk9, 0, &motion_); }, RFS_ERR_NO_DISK},
        {"motion stop, no result", [] { return rfs_read_moarea_stop(nullptr); }, 0},
        // Times and repair
        {"start and end time, no outputs", [] { return rfs_get_start_end_time(nullptr, nullptr); }, RFS_ERR_TIME},
        {"disk time, no outputs", [] { return get_disk_time(nullptr, nullptr); }, RFS_ERR_TIME},
        {"channel presence, no bitmap", [=, this] { return rfs_is_chn_have_record(nullptr, before_, t_); }, RFS_ERR_NULL},
        {"channel presence, start after end", [=, this] { uint8_t bits[64] = {}; return rfs_is_chn_have_record(bits, t_, before_); }, 0},
        {"repair time, channel -1", [=, this] { return rfs_get_repair_record_time(-1, ~0ull, &out_.start); }, kErr},
        {"repair time, channel 4 of 8", [=, this] { return rfs_get_repair_record_time(4, ~0ull, &out_.start); }, kErr},
        {"repair actions, disk 32", [=, this] { return rfs_get_repair_actions(32, actions_, 4); }, RFS_ERR_NO_DISK},
        {"repair actions, disk -1", [=, this] { return rfs_get_repair_actions(-1, actions_, 4); }, RFS_ERR_NO_DISK},
        {"repair actions, no output", [] { return rfs_get_repair_actions(0, nullptr, 4); }, 0},
        // Set-up and the extensions: stored as given. Without storage a
        // mount fails like a disk that does not open.
        {"storage callbacks, none", [=, this] {
             rfs_set_operate_cb(nullptr, nullptr, nullptr, nullptr, nullptr);
             int r = rfs_add_disk(1, path_.c_str(), 0, 0, nullptr);
             rfs_host::install(rfs_host::fault_ops()); // counts kept
             return r;
         }, kErr},
        {"nas mode 0", [] { return rfs_set_nas_mode(0); }, 0},
        {"log sink, none", [] { return rfs_set_log_sink(nullptr, nullptr); }, 0},
        {"output sink, none", [] { return rfs_set_output_sink(nullptr, nullptr); }, 0},
        // Last: its private search takes the lowest free session, the stopped one.
        {"first key frame, month 13", [=, this] { void *p = nullptr; int n = 0; return rfs_get_first_iframe(2, month13_, month13_, &p, &n); }, kErr},
    };
}

} // namespace

TEST_F(Boundary, EveryExportGivesItsCodeInEveryState) {
    const char *states[] = {"initialised", "before rfs_init", "after rfs_exit"};
    for (int state = 0; state < 3; ++state) {
        SCOPED_TRACE(states[state]);
        prepare();
        enter(state);
        rfs_host::fault_reset_counts();
        const size_t descriptors = open_descriptors();
        for (const Row &row : rows()) {
            const int other = state == 1 ? row.before_init : row.after_exit;
            const int want = state == 0 || other == kAsReady ? row.ready : other;
            if (want == kNotRun) continue;
            EXPECT_EQ(row.call(), want) << row.what;
        }
        close_every_read_session();
        EXPECT_EQ(rfs_host::fault_counts().writes, 0u);
        EXPECT_EQ(open_descriptors(), descriptors);
        finish();
    }
    EXPECT_EQ(rfs_exit(), 0); // twice in a row
}
