// Where the time seeks land, what they refuse, and what they read.
#include "playback_fixture.h"

using rec::add_seconds;

// Key frames 2 s apart; `wide` claims one more second on both sides, so there
// are times later than the newest and earlier than the oldest key frame. The
// key-record seek opens the event itself and refuses keys that do not match it.
TEST_F(PlaybackTest, SeeksLandOnTheKeyFrameTheirModeAsksFor) {
    const rec::EventTruth &ev = record_one(3, "2026-03-01 12:00:00", "2026-03-01 12:01:00");
    const std::vector<rec::KeyFrame> &kf = ev.kframes;
    const int newest = int(kf.size()) - 1;
    RfsEvent e = listed(ev), wide = e;
    wide.start = dt(add_seconds(ev.start, -1));
    wide.end = dt(add_seconds(ev.end, 1));
    RfsEventKey k = key_of(ev), late_end = k, past_table = k, other_disk = k, free_file = k;
    late_end.end = dt(add_seconds(ev.end, 1));
    past_table.event_no = 600;
    other_disk.disk = 1;
    free_file.file_no = 3;
    const rec::PackedTime between = add_seconds(kf[5].time, 1);
    // (what, the event or else the key record a seek is on, time, mode, result, key frame, log line)
    struct Case { const char *what; const RfsEvent *event; const RfsEventKey *key; rec::PackedTime at; int mode, result, kf; const char *log; } cases[] = {
        {"at a key frame, at or before", &e, nullptr, kf[5].time, 1, 0, 5, nullptr},
        {"at a key frame, at or after", &e, nullptr, kf[5].time, 0, 0, 5, nullptr},
        {"between, at or before", &e, nullptr, between, 1, 0, 5, nullptr},
        {"between, at or after", &e, nullptr, between, 0, 0, 6, nullptr},
        {"event start", &e, nullptr, ev.start, 0, 0, 0, nullptr},
        {"event end", &e, nullptr, ev.end, 1, 0, newest, nullptr},
        {"before the event", &e, nullptr, add_seconds(ev.start, -1), 1, -10, 0, "must in start_time and end_time"},
        {"after the event", &e, nullptr, add_seconds(ev.end, 1), 0, -10, 0, "must in start_time and end_time"},
        {"after the newest, at or before", &wide, nullptr, add_seconds(ev.end, 1), 1, 0, newest, nullptr},
        {"after the newest, at or after", &wide, nullptr, add_seconds(ev.end, 1), 0, -1, 0, "start_pos"},
        {"before the oldest, at or after", &wide, nullptr, add_seconds(ev.start, -1), 0, 0, 0, nullptr},
        {"before the oldest, at or before", &wide, nullptr, add_seconds(ev.start, -1), 1, -1, 0, "end_pos"},
        {"key: at a key frame", nullptr, &k, kf[5].time, 1, 0, 5, nullptr},
        {"key: between, at or before", nullptr, &k, between, 1, 0, 5, nullptr},
        {"key: between, at or after", nullptr, &k, between, 0, 0, 6, nullptr},
        {"key: before the event", nullptr, &k, add_seconds(ev.start, -1), 1, -10, 0, "must in start_time"},
        {"key: ends after the stored event", nullptr, &late_end, kf[5].time, 1, -24, 0, "event is covered"},
        {"key: event beyond the table", nullptr, &past_table, kf[5].time, 1, -24, 0, "event is covered"},
        {"key: free data file", nullptr, &free_file, kf[5].time, 1, -24, 0, "event is covered,file_state=0"},
        {"key: disk not mounted", nullptr, &other_disk, kf[5].time, 1, -32, 0, "disk is no exist"},
    };
    int rd = rfs_read_start(3);
    for (const Case &c : cases) {
        RfsDateTime at = dt(c.at);
        uint64_t reads = rfs_host::fault_counts().reads;
        auto seek = [&] { return c.event ? rfs_tseek(rd, &at, c.mode, 0, c.event, 0) : rfs_tseek_for_index(rd, &at, c.mode, 0, c.key); };
        expect_codes({{c.what, seek, c.result, c.log}});
        // A few index blocks at most, and the event record for a key.
        EXPECT_LE(rfs_host::fault_counts().reads - reads, c.event ? 2u : 3u) << c.what;
        if (c.result == 0) {
            EXPECT_EQ(std::make_pair(rfs::g_read_session[rd].offset, rfs::g_read_session[rd].cur_index),
                      std::make_pair(kf[size_t(c.kf)].offset, int32_t(kf[size_t(c.kf)].entry_pos / 32))) << c.what;
        }
    }
    // A key-record seek then reads the stored stream from its key frame on.
    RfsDateTime at = dt(kf[5].time);
    ASSERT_EQ(rfs_tseek_for_index(rd, &at, 1, 0, &k), 0);
    std::vector<uint8_t> all = rec_->stream(ev);
    EXPECT_TRUE(read_to_end(rd, 16384) == std::vector<uint8_t>(all.begin() + (kf[5].offset - ev.data_start), all.end()));
}

// Seeks within the open data file do not open it again; another file does.
TEST_F(PlaybackTest, SessionKeepsItsDataFileAcrossSeeksInIt) {
    rec::Recorder &r = recorder(true);
    r.record(3, rec::t("2026-03-01 12:00:00"), rec::t("2026-03-01 12:00:20"), rec::kTimed);
    r.record(3, rec::t("2026-03-01 12:10:00"), rec::t("2026-03-01 12:10:20"), rec::kTimed);
    r.record(4, rec::t("2026-03-01 12:00:00"), rec::t("2026-03-01 12:00:20"), rec::kTimed);
    mount();
    int rd = rfs_read_start(3);
    for (int i : {0, 1, 2}) {
        RfsEvent e = listed(r.events()[size_t(i)]);
        uint64_t opens = rfs_host::fault_counts().opens;
        ASSERT_EQ(rfs_tseek(rd, &e.start, 1, 0, &e, 0), 0);
        EXPECT_EQ(rfs_host::fault_counts().opens - opens, i == 1 ? 0u : 1u) << i;
    }
}

// A second rfs_init sets the read sessions up anew: one left open, started
// or only seeked, gives back its descriptor (and its index cache, which the
// leak checker would find unreachable).
TEST_F(PlaybackTest, SecondStartClosesReadSessionsLeftOpen) {
    const rec::EventTruth &ev = record_one(3, "2026-03-01 12:00:00", "2026-03-01 12:00:20");
    RfsEvent e = listed(ev);
    int rd = rfs_read_start(3);
    const int never_started = 40;
    ASSERT_EQ(rfs_tseek(rd, &e.start, 1, 0, &e, 0), 0);
    ASSERT_EQ(rfs_tseek(never_started, &e.start, 1, 0, &e, 0), 0);
    ASSERT_EQ(rfs_get_next_kframe(never_started, buf_.data(), int(buf_.size()), &skip_, 1, nullptr) > 0, true);
    const uint64_t closes = rfs_host::fault_counts().closes;
    handle_ = -1; // the restart frees the search too
    ASSERT_EQ(rfs_init(16, 1), 0);
    EXPECT_EQ(rfs_host::fault_counts().closes - closes, 2u);
    for (int s : {rd, never_started}) EXPECT_EQ(rfs::g_read_session[s].iframe_fd, -1) << s;
}
