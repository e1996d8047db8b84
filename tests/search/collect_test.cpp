// What event searches return: every filter against the recorder's truth, the
// merged and per-channel orders, the two disk-group halves, NAS and raw disks,
// malformed index bytes, failures, and what the scan costs in storage calls.
#include <chrono>
#include <iostream>

#include "disk/registry.h"
#include "fault_storage.h"
#include "frame/alloc.h"
#include "frame/bytes.h"
#include "frame/state.h"
#include "frame/time.h"
#include "search_fixture.h"

namespace {

rec::DiskSpec spec(int partitions = 2, bool nas = false) {
    rec::DiskSpec s;
    s.partitions = partitions;
    s.files_per_partition = 16;
    s.nas = nas;
    s.headers_only = true;
    s.keep_truth = false;
    return s;
}

rec::RecordOptions opts(uint8_t skip = 0) {
    rec::RecordOptions o;
    o.fps = 1;
    o.key_interval = 5;
    o.skip_flag = skip;
    return o;
}

// Two days of several channels; with `second_partition` channels 4 and 7
// record into partition 1.
void two_days(rec::Recorder &r, bool second_partition = true) {
    r.record(0, at("2026-03-01 08:00:00"), at("2026-03-01 08:10:00"), rec::kTimed, opts());
    r.record(0, at("2026-03-01 12:00:00"), at("2026-03-01 12:05:00"), rec::kMotion, opts());
    r.record(0, at("2026-03-02 09:00:00"), at("2026-03-02 09:03:00"), rec::kAlarm, opts());
    r.record(1, at("2026-03-01 08:05:00"), at("2026-03-01 08:20:00"), rec::kMotion, opts());
    r.record(1, at("2026-03-01 23:58:00"), at("2026-03-02 00:03:00"), rec::kTimed, opts());
    r.record(2, at("2026-03-01 10:00:00"), at("2026-03-01 10:01:00"), rec::kManual | rec::kMotion, opts());
    r.record(2, at("2026-03-01 11:00:00"), at("2026-03-01 11:01:00"), rec::kTimed, opts(1));
    r.record(2, at("2026-03-01 11:30:00"), at("2026-03-01 11:31:00"), rec::kTimed, opts(2));
    r.record(3, at("2026-03-01 13:00:00"), at("2026-03-01 13:00:00"), rec::kTimed, opts());
    if (second_partition) r.use_partition(1);
    r.record(4, at("2026-03-01 14:00:00"), at("2026-03-01 14:10:00"), rec::kAlarm, opts());
    r.record(7, at("2026-03-01 08:00:00"), at("2026-03-01 15:01:00"), rec::kTimed, opts());
}

Query day(const std::string &date) {
    Query q;
    q.start = at(date + " 00:00:00");
    q.end = at(date + " 23:59:59");
    return q;
}

std::vector<Found> merged_list(const RfsEventList &l) {
    std::vector<Found> out;
    for (int i = 0; i < l.count; ++i) {
        EXPECT_EQ(l.list[i].list_chn, 0);
        EXPECT_EQ(l.list[i].sequence, uint32_t(i));
        out.push_back(found_of(l.list[i]));
    }
    return out;
}

} // namespace

TEST_F(SearchTest, EveryFilterReturnsWhatWasRecorded) {
    make_disk(spec(), [](rec::Recorder &r) { two_days(r); }, "a");
    mount(0, "a");

    struct Case {
        const char *name;
        Query q;
    };
    std::vector<Case> cases;
    cases.push_back({"whole day", day("2026-03-01")});
    cases.push_back({"next day, across midnight", day("2026-03-02")});
    Query q = day("2026-03-01");
    q.channels = 0b101;
    cases.push_back({"channels 0 and 2", q});
    q = day("2026-03-01");
    q.chn_cnt = 2;
    cases.push_back({"chnCnt cuts the bitmap", q});
    q = day("2026-03-01");
    q.types = rec::kMotion;
    cases.push_back({"record type", q});
    q.types = 0;
    q.integrated = {rec::kManual | rec::kMotion};
    cases.push_back({"combined type needs all its bits", q});
    q.integrated = {rec::kAlarm, 0};
    cases.push_back({"combined type 0 takes everything", q});
    q = day("2026-03-01");
    q.skip_zero_length = 1;
    cases.push_back({"zero-length events left out", q});
    q.start = q.end = at("2026-03-01 08:10:00");
    cases.push_back({"range touching an end exactly", q});
    q.start = at("2026-03-01 16:00:00");
    q.end = at("2026-03-01 17:00:00");
    cases.push_back({"nothing recorded", q});
    q.start = at("2026-03-01 17:00:00");
    q.end = at("2026-03-01 08:00:00");
    cases.push_back({"inverted range", q});

    for (Case &c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<Found> want = expected(c.q);
        c.q.search_type = 3;
        int h = search(c.q);
        ASSERT_GE(h, 0);
        EXPECT_EQ(all_listed(h), want);
        rfs_find_stop(uint32_t(h));

        c.q.search_type = 2;
        RfsEventList merged{};
        h = search(c.q, &merged);
        ASSERT_GE(h, 0);
        EXPECT_EQ(merged_list(merged), want);
        rfs_find_stop(uint32_t(h));
    }
    EXPECT_EQ(expected(day("2026-03-01")).size(), 9u); // the table tests something
}

TEST_F(SearchTest, RecordsCarryTheStoredEvent) {
    make_disk(spec(), [](rec::Recorder &r) { two_days(r); }, "a");
    mount(3, "a");
    int h = search(day("2026-03-01"));
    ASSERT_GE(h, 0);
    RfsEventList l{};
    ASSERT_EQ(rfs_get_event(uint32_t(h), 2, &l), 0);
    ASSERT_EQ(l.count, 2); // the skip_flag 1 event is not listed
    for (int i = 0; i < l.count; ++i) {
        const RfsEvent &e = l.list[i];
        const rec::EventTruth *t = nullptr;
        for (const Truth &x : truth_)
            if (x.ev.chn == 2 && x.ev.start == rfs::pack_time(e.start)) t = &x.ev;
        ASSERT_NE(t, nullptr);
        EXPECT_EQ(e.record_type, t->type_mask);
        EXPECT_EQ(e.handle, h);
        EXPECT_EQ(e.covered, 0);
        EXPECT_EQ(e.record_id, uint32_t(3 << 24 | t->partition << 16 | (t->file_no - 1)));
        EXPECT_EQ(e.status2, t->skip_flag == 2);
        EXPECT_EQ(e.group_half, 0);
        EXPECT_EQ(e.data_start, t->data_start);
        EXPECT_EQ(e.data_size, t->data_size);
        EXPECT_EQ(e.iframe_index_end, t->iframe_top);
        EXPECT_EQ(e.iframe_index_begin, t->last_iframe_pos);
        EXPECT_EQ(e.stored_word28, t->moarea_start);
        EXPECT_EQ(e.stored_word56, t->moarea_end);
        EXPECT_EQ(e.event_id, t->event_no - 1);
    }
    EXPECT_EQ(l.list[1].status2, 1);
    const rfs::SearchSession &s = rfs::g_search[h];
    EXPECT_EQ(s.part_used[3][0], 1);
    EXPECT_EQ(s.part_used[3][1], 1);
    EXPECT_EQ(s.event_cursor[2], -1);
}

TEST_F(SearchTest, SecondGroupHalfKeepsOnlyWhatTheFirstDoesNotSpan) {
    make_disk(spec(), [](rec::Recorder &r) { two_days(r); }, "a");
    make_disk(spec(1), [](rec::Recorder &r) {
        r.record(0, at("2026-03-01 08:02:00"), at("2026-03-01 08:08:00"), rec::kTimed, opts());
        r.record(0, at("2026-03-01 08:09:00"), at("2026-03-01 08:30:00"), rec::kTimed, opts());
        r.record(5, at("2026-03-01 09:00:00"), at("2026-03-01 09:05:00"), rec::kTimed, opts());
    }, "b");
    mount(2, "b", 1, 4);  // group 36: scanned second although its slot comes first
    mount(5, "a");        // group 0
    mount(6, "a", -1, 0); // the same disk again in group 32: all of it is spanned
    int h = search(day("2026-03-01"));
    ASSERT_GE(h, 0);
    std::vector<Found> got = all_listed(h);
    EXPECT_EQ(got, expected(day("2026-03-01")));
    int second_half = 0;
    for (int c = 0; c < kChannels; ++c) {
        RfsEventList l{};
        rfs_get_event(uint32_t(h), c, &l);
        for (int i = 0; i < l.count; ++i) second_half += l.list[i].group_half;
    }
    EXPECT_EQ(second_half, 2); // b's 08:09 event on channel 0 and its channel 5 event
}

TEST_F(SearchTest, NasAndRawDisksGiveTheSameLists) {
    auto live = [](rec::Recorder &r) { two_days(r, false); };
    make_disk(spec(1, false), live, "raw");
    make_disk(spec(1, true), live, "nas");
    mount(0, "raw");
    int h = search(day("2026-03-01"));
    ASSERT_GE(h, 0);
    std::vector<Found> raw = all_listed(h);
    rfs_find_stop(uint32_t(h));
    rfs_remove_disk(0);

    rfs_set_nas_mode(1);
    mount(0, "nas");
    h = search(day("2026-03-01"));
    ASSERT_GE(h, 0);
    EXPECT_EQ(all_listed(h), raw);
    EXPECT_EQ(raw.size(), 9u);
}

TEST_F(SearchTest, MalformedIndexBytesStayInsideTheBuffers) {
    make_disk(spec(1), [](rec::Recorder &r) { two_days(r, false); }, "a");
    const auto &g = disk("a").geometry;
    auto file_rec = [&](int file_no) { return g.part_base[0] + g.file_table_off + 336ull * (file_no - 1); };
    auto event_rec = [&](const rec::EventTruth &e) {
        return g.part_base[0] + g.event_area_off + uint64_t(g.event_table_size) * (e.file_no - 1) +
               64ull * (e.event_no - 1);
    };
    const std::vector<rec::EventTruth> &events = disk("a").events;
    // Channel 0's file claims 65535 events; channel 1's first event ends
    // before it starts; channel 2's file says channel 600.
    std::vector<uint8_t> b(4);
    rfs::store_le16(b.data(), 0xFFFF);
    poke("a", file_rec(events[0].file_no) + 6, {b[0], b[1]});
    rfs::store_le32(b.data(), at("2026-03-01 08:00:00"));
    poke("a", event_rec(events[3]) + 40, b);
    rfs::store_le16(b.data(), 600);
    poke("a", file_rec(events[5].file_no) + 8, {b[0], b[1]});
    mount(0, "a");

    int h = search(day("2026-03-01"));
    ASSERT_GE(h, 0);
    EXPECT_EQ(listed(h, 0).size(), 2u); // the table's empty entries match nothing
    ASSERT_EQ(listed(h, 1).size(), 1u); // only the event across midnight
    EXPECT_EQ(listed(h, 1)[0].start, at("2026-03-01 23:58:00"));
    EXPECT_EQ(listed(h, 2).size(), 0u); // no list for a channel the library does not have
    rfs_find_stop(uint32_t(h));

    // A merged search has a list for it.
    Query q = day("2026-03-01");
    q.chn_cnt = 1024;
    q.channels = 0xFFFFFFFF;
    RfsSearchParam p = param(q);
    std::vector<uint8_t> all(128, 0xFF);
    p.chnBit = all.data();
    p.search_type = 2;
    RfsEventList merged{};
    h = rfs_find_start(&p, &merged, 0);
    ASSERT_GE(h, 0);
    int chn600 = 0;
    for (int i = 0; i < merged.count; ++i) chn600 += merged.list[i].chn == 600;
    EXPECT_EQ(chn600, 2);
}

TEST_F(SearchTest, FailuresReleaseTheSession) {
    make_disk(spec(1), [](rec::Recorder &r) { two_days(r, false); }, "a");
    mount(0, "a");
    const auto &g = disk("a").geometry;
    struct Case {
        const char *name;
        rfs_host::FaultRule rule;
        long alloc_failure;
        int code;
        const char *line;
    };
    rfs_host::FaultRule table;
    table.action = rfs_host::FaultAction::shorten;
    table.from = int64_t(g.part_base[0] + g.file_table_off);
    table.to = table.from + 1;
    table.keep = 10;
    rfs_host::FaultRule events;
    events.from = int64_t(g.part_base[0] + g.event_area_off);
    events.to = events.from + 1;
    rfs_host::FaultRule none;
    none.file = "no such file";
    const Case cases[] = {
        {"file table short", table, -1, RFS_ERR_INDEX_READ, "read err"},
        {"event batch unreadable", events, -1, RFS_ERR_INDEX_READ, "read event err"},
        {"first list", none, 0, RFS_ERR_NO_MEMORY, "realloc event buf err"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        rfs_host::fault_clear_rules();
        rfs_host::fault_add(c.rule);
        log_.clear();
        rfs::set_alloc_failure(c.alloc_failure);
        EXPECT_EQ(search(day("2026-03-01")), c.code);
        rfs::set_alloc_failure(-1);
        EXPECT_TRUE(log_.contains(c.line));
        EXPECT_TRUE(log_.contains("err\n"));
        for (const rfs::SearchSession &s : rfs::g_search) EXPECT_EQ(s.state, 0);
    }

    // A list that cannot grow past its first 200 records.
    rfs_host::fault_clear_rules();
    rfs::set_alloc_failure(1);
    Query many = day("2026-03-01");
    many.search_type = 2;
    RfsEventList merged{};
    rfs_remove_disk(0);
    make_disk(spec(1), [](rec::Recorder &r) {
        for (int i = 0; i < 250; ++i) {
            rec::PackedTime s = rec::add_seconds(at("2026-03-01 01:00:00"), 60 * i);
            r.record(i % 4, s, rec::add_seconds(s, 10), rec::kTimed, opts());
        }
    }, "many");
    mount(0, "many");
    EXPECT_EQ(search(many, &merged), RFS_ERR_NO_MEMORY);
}

TEST_F(SearchTest, NasDiskThatDroppedEndsTheSearch) {
    make_disk(spec(1, true), [](rec::Recorder &r) { two_days(r, false); }, "nas");
    rfs_set_nas_mode(1);
    mount(0, "nas");
    rfs_host::FaultRule gone;
    gone.op = rfs_host::FaultOp::open;
    gone.file = "index0";
    rfs_host::fault_add(gone);
    EXPECT_EQ(search(day("2026-03-01")), RFS_ERR_OPEN);
    EXPECT_TRUE(log_.contains(" is drop"));
}

TEST_F(SearchTest, NoUsableIndexCopyEndsEarlyWithSuccess) {
    make_disk(spec(1), [](rec::Recorder &r) { two_days(r, false); }, "a");
    mount(0, "a");
    mount(1, "a");
    rfs::pg_disk_list[1]->param.set_index_flags(0, 0x01); // one copy is not a pair
    int h = search(day("2026-03-01"));
    ASSERT_GE(h, 0);
    EXPECT_TRUE(log_.contains("can't find valid index!"));
    EXPECT_EQ(all_listed(h).size(), 9u); // disk 0's events, gathered before the end
}

// One-day search over a disk of a few hundred data files: the scan reads each
// partition's file table once and the event tables 40 files at a time.
TEST_F(SearchTest, OneDaySearchCostsWhatTheLayoutDictates) {
    rec::DiskSpec s = spec(1);
    s.files_per_partition = 400;
    make_disk(s, [](rec::Recorder &r) {
        // 8 channels, an event of 4 s every 10 s all day: about 270 full files.
        for (int c = 0; c < kChannels; ++c)
            for (int i = 0; i < 8640; ++i) {
                rec::PackedTime t0 = rec::add_seconds(at("2026-03-01 00:00:00"), 10 * i + c);
                r.record(c, t0, rec::add_seconds(t0, 4), rec::kTimed, opts());
            }
    }, "big");
    mount(0, "big");
    uint16_t files = rfs::pg_disk_list[0]->partition[0].file_nr();
    int used = 0;
    for (const Truth &t : truth_) used = std::max(used, t.ev.file_no);

    rfs_host::fault_reset_counts();
    auto t0 = std::chrono::steady_clock::now();
    Query q = day("2026-03-01");
    int h = search(q);
    auto t1 = std::chrono::steady_clock::now();
    ASSERT_GE(h, 0);
    const rfs_host::FaultCounts &n = rfs_host::fault_counts();
    int events = 0;
    for (int c = 0; c < kChannels; ++c) events += int(listed(h, c).size());
    EXPECT_EQ(events, kChannels * 8640);
    EXPECT_EQ(n.opens, 1u);
    EXPECT_EQ(n.reads, 1u + (used + 39) / 40);
    std::cout << "one-day search: " << files << " files in the table, " << used
              << " data files used, " << events << " events; " << n.opens << " opens, "
              << n.reads << " reads, " << n.bytes_read << " bytes read, "
              << std::chrono::duration<double, std::milli>(t1 - t0).count() << " ms\n";
}
