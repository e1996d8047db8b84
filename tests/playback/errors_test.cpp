// The codes and log lines of bad arguments (those the export table in the
// C-boundary test does not reach), and disks whose records cannot be trusted.
#include "playback_fixture.h"

TEST_F(PlaybackTest, BadArgumentsGetTheirCodes) {
    const rec::EventTruth &ev = record_one(1, "2026-03-01 12:00:00", "2026-03-01 12:00:20");
    RfsEvent e = listed(ev), no_session = e, past_list = e, no_disk = e, no_file = e;
    no_session.handle = 9;
    past_list.sequence = 1;
    no_disk.record_id |= 3u << 24;
    no_file.record_id |= 0xFFFF;
    RfsEventKey k = key_of(ev);
    RfsDateTime at = e.start;
    uint8_t *b = buf_.data();
    int rd = rfs_read_start(1), idle = rfs_read_start(1), fresh = rfs_read_start(1);
    auto seek = [&] { return rfs_tseek(rd, &at, 1, 0, &e, 0); };
    expect_codes({
        {"seek, handle 64", [&] { return rfs_tseek(64, &at, 1, 0, &e, 0); }, -4, "fs find start invalid fd!"},
        {"seek, handle -1", [&] { return rfs_tseek(-1, &at, 1, 0, &e, 0); }, -4},
        {"seek, search not in use", [&] { return rfs_tseek(rd, &at, 1, 0, &no_session, 0); }, -4, "9 handle isn't exist"},
        {"seek, past the list", [&] { return rfs_tseek(rd, &at, 1, 0, &past_list, 0); }, -23, "the event is not in memory"},
        {"seek, disk not mounted", [&] { return rfs_tseek(rd, &at, 1, 0, &no_disk, 0); }, -6, "time_seek 3284 NULL = pg_disk_list[id]"},
        {"seek, no such data file", [&] { return rfs_tseek(rd, &at, 1, 0, &no_file, 0); }, -32, "disk is no exist"},
        {"key seek, handle 64", [&] { return rfs_tseek_for_index(64, &at, 1, 0, &k); }, -4, "fs find start invalid fd!"},
        {"read, handle 64", [&] { return rfs_read(64, b, 4096, &skip_, nullptr); }, -4, "fs read start invalid fd!fd:64"},
        {"read, no buffer", [&] { return rfs_read(rd, nullptr, 4096, &skip_, nullptr); }, -11, "buf err!"},
        {"read, session not open", [&] { return rfs_read(63, b, 4096, &skip_, nullptr); }, -4, "rd=63 not use!"},
        {"read, never positioned", [&] { return rfs_read(fresh, b, 4096, &skip_, nullptr); }, -16, "read err"},
        {"read, length not 4 KB", [&] { return seek() ?: rfs_read(rd, b, 5000, &skip_, nullptr); }, -25, "err"},
        {"read, negative length", [&] { return seek() ?: rfs_read(rd, b, -4096, &skip_, nullptr); }, -25, "err"},
        {"next, step 0", [&] { return rfs_get_next_kframe(rd, b, 4096, &skip_, 0, nullptr); }, -4, "fs read start invalid fd!"},
        {"current, handle 64", [&] { return rfs_get_current_kframe(64, b, 4096, &skip_, nullptr); }, -4},
        {"current, no buffer", [&] { return rfs_get_current_kframe(rd, nullptr, 4096, &skip_, nullptr); }, -11, "para err!"},
        {"current, frame longer than the buffer", [&] { return seek() ?: rfs_get_current_kframe(rd, b, 4096, &skip_, nullptr); }, -25, "iframe length is too long!"},
        {"current, idle session", [&] { return rfs_get_current_kframe(idle, b, 4096, &skip_, nullptr); }, -16, "read err"},
        {"stop, handle 64", [&] { return rfs_read_stop(64); }, -4, "invalid param"},
    });
    rfs::g_search[handle_].event_list[e.list_chn][e.sequence].covered = 1; // the search's own copy
    expect_codes({{"seek, covered event", seek, -24, "the event had been covered"}});
    for (int i = 3; i < 64; ++i) ASSERT_EQ(rfs_read_start(0), i);
    EXPECT_EQ(rfs_read_start(0), -2);
}

// Key-frame entries and event records that point outside the event or the
// data file, and index blocks that cannot be read.
TEST_F(PlaybackTest, UntrustedRecordsGetACodeNotACrash) {
    const rec::EventTruth &ev = record_one(6, "2026-03-01 12:00:00", "2026-03-01 12:00:30");
    const std::vector<rec::KeyFrame> &kf = ev.kframes;
    uint64_t base = rec_->geometry().data_file_base(ev.partition, ev.file_no);
    poke(path_, base + kf[2].entry_pos + 8, 0x0FFF0000); // key frame and reference beyond the event
    poke(path_, base + kf[2].entry_pos + 16, 0x0FFF0000);
    poke(path_, base + kf[3].entry_pos + 12, 0x7FFFFFF0); // iframe_length larger than any buffer
    RfsEvent e = listed(ev), index_off_file = e, data_off_file = e;
    index_off_file.iframe_index_end = 0x10000020;
    data_off_file.data_size = 0xF0000000;
    int rd = rfs_read_start(6);
    auto seek = [&](const RfsEvent &ev_rec, const rec::KeyFrame &k) {
        RfsDateTime at = dt(k.time);
        return rfs_tseek(rd, &at, 1, 0, &ev_rec, 0);
    };
    auto fail_index_reads = [&] {
        rfs_host::fault_add({.file = "disk.img", .from = int64_t(base + ev.last_iframe_pos), .to = int64_t(base + ev.iframe_top)});
        rfs::g_read_session[rd].cache_count = 0; // as after an index read that failed
        return 0;
    };
    expect_codes({
        {"index range off the data file", [&] { return seek(index_off_file, kf[1]); }, -10, "write ifram offse or time err"},
        {"media off the data file", [&] { return seek(data_off_file, kf[1]); }, -10, "write ifram offse or time err"},
        {"key frame outside the event", [&] { return seek(e, kf[2]); }, -1, "write data err"},
        {"huge key frame", [&] { return seek(e, kf[3]) ?: rfs_get_current_kframe(rd, buf_.data(), 65536, &skip_, nullptr); }, -25, "iframe length is too long!"},
        {"index block unreadable, step", [&] { return fail_index_reads() ?: rfs_get_current_kframe(rd, buf_.data(), 65536, &skip_, nullptr); }, -16, "read err"},
        {"index block unreadable, seek", [&] { return seek(e, kf[1]); }, -15, "count:-1 err"},
    });
}
