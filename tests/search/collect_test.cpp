// What event searches return: every filter against the recorder's truth, the
// merged and per-channel orders, the two disk-group halves, NAS and raw disks,
// malformed index bytes, failures, and what the scan costs in storage calls.
#include <chrono>
#include <iostream>

#include "disk/registry.h"
#include "fault_storage.h"
#include "frame/alloc.h"
#include "frame/state.h"
#include "search_fixture.h"

namespace {

rec::DiskSpec shape(int partitions = 2, bool nas = false, int files = 16) {
    rec::DiskSpec s;
    s.partitions = partitions;
    s.files_per_partition = files;
    s.nas = nas;
    s.headers_only = true;
    s.keep_truth = false;
    return s;
}

rec::RecordOptions opts(uint8_t skip = 0) {
    rec::RecordOptions o;
    o.fps = 1;
    o.skip_flag = skip;
    return o;
}

// Two days on several channels; channels 4 and 7 go to the second partition.
void two_days(rec::Recorder &r) {
    auto rec = [&](int c, const char *a, const char *b, uint64_t type, uint8_t skip = 0) {
        r.record(c, at(a), at(b), type, opts(skip));
    };
    rec(0, "2026-03-01 08:00:00", "2026-03-01 08:10:00", rec::kTimed);
    rec(0, "2026-03-01 12:00:00", "2026-03-01 12:05:00", rec::kMotion);
    rec(0, "2026-03-02 09:00:00", "2026-03-02 09:03:00", rec::kAlarm);
    rec(1, "2026-03-01 08:05:00", "2026-03-01 08:20:00", rec::kMotion);
    rec(1, "2026-03-01 23:58:00", "2026-03-02 00:03:00", rec::kTimed);
    rec(2, "2026-03-01 10:00:00", "2026-03-01 10:01:00", rec::kManual | rec::kMotion);
    rec(2, "2026-03-01 11:00:00", "2026-03-01 11:01:00", rec::kTimed, 1);
    rec(2, "2026-03-01 11:30:00", "2026-03-01 11:31:00", rec::kTimed, 2);
    rec(3, "2026-03-01 13:00:00", "2026-03-01 13:00:00", rec::kTimed);
    if (r.geometry().part_base.size() > 1) r.use_partition(1);
    rec(4, "2026-03-01 14:00:00", "2026-03-01 14:10:00", rec::kAlarm);
    rec(7, "2026-03-01 08:00:00", "2026-03-01 15:01:00", rec::kTimed);
}

} // namespace

class CollectTest : public SearchTest {
  protected:
    // Per-channel and merged lists of one query, the merged one read in place.
    std::pair<std::vector<Found>, std::vector<Found>> lists(Query q) {
        q.search_type = 3;
        int h = search(q);
        EXPECT_GE(h, 0);
        std::pair<std::vector<Found>, std::vector<Found>> out{all_listed(h), {}};
        rfs_find_stop(uint32_t(h));
        q.search_type = 2;
        RfsEventList merged{};
        h = search(q, &merged);
        EXPECT_GE(h, 0);
        for (int i = 0; i < merged.count; ++i) {
            EXPECT_EQ(merged.list[i].list_chn, 0);
            EXPECT_EQ(merged.list[i].sequence, uint32_t(i));
            out.second.push_back(found_of(merged.list[i]));
        }
        rfs_find_stop(uint32_t(h));
        return out;
    }
};

TEST_F(CollectTest, EveryFilterReturnsWhatWasRecorded) {
    make_disk(shape(), two_days, "a");
    mount(0, "a");
    std::vector<std::pair<const char *, Query>> cases = {{"whole day", day("2026-03-01")},
                                                         {"across midnight", day("2026-03-02")}};
    auto add = [&](const char *name, auto change) {
        Query q = day("2026-03-01");
        change(q);
        cases.push_back({name, q});
    };
    add("channels 0 and 2", [](Query &q) { q.channels = 0b101; });
    add("chnCnt cuts the bitmap", [](Query &q) { q.chn_cnt = 2; });
    add("record type", [](Query &q) { q.types = rec::kMotion; });
    add("combined type needs all its bits", [](Query &q) { q.types = 0; q.integrated = {rec::kManual | rec::kMotion}; });
    add("combined type 0 takes everything", [](Query &q) { q.types = 0; q.integrated = {rec::kAlarm, 0}; });
    add("zero-length events left out", [](Query &q) { q.skip_zero_length = 1; });
    add("range touching an end exactly", [](Query &q) { q.start = q.end = at("2026-03-01 08:10:00"); });
    add("inverted range", [](Query &q) { std::swap(q.start, q.end); });
    for (const auto &[name, q] : cases) {
        SCOPED_TRACE(name);
        auto [per_channel, merged] = lists(q);
        EXPECT_EQ(per_channel, expected(q));
        EXPECT_EQ(merged, expected(q));
    }
    EXPECT_EQ(expected(day("2026-03-01")).size(), 9u);

    // The fields a record carries beyond those compared above.
    int h = search(day("2026-03-01"));
    RfsEventList l{};
    ASSERT_EQ(rfs_get_event(uint32_t(h), 2, &l), 0);
    ASSERT_EQ(l.count, 2);
    const rec::EventTruth &t = disk("a").events[7]; // channel 2, skip_flag 2
    const RfsEvent &e = l.list[1];
    EXPECT_EQ(std::make_tuple(e.record_type, e.handle, e.covered, e.status2, e.group_half),
              std::make_tuple(t.type_mask, uint8_t(h), uint8_t(0), uint8_t(1), uint8_t(0)));
    EXPECT_EQ(std::make_tuple(e.data_start, e.data_size, e.iframe_index_end, e.iframe_index_begin,
                              e.stored_word28, e.stored_word56),
              std::make_tuple(t.data_start, t.data_size, t.iframe_top, t.last_iframe_pos,
                              t.moarea_start, t.moarea_end));
    EXPECT_EQ(rfs::g_search[h].part_used[0][1], 1);
    EXPECT_EQ(rfs::g_search[h].event_cursor[2], -1);
}

TEST_F(CollectTest, SecondGroupHalfKeepsOnlyWhatTheFirstDoesNotSpan) {
    make_disk(shape(), two_days, "a");
    make_disk(shape(1), [](rec::Recorder &r) {
        r.record(0, at("2026-03-01 08:02:00"), at("2026-03-01 08:08:00"), rec::kTimed, opts());
        r.record(0, at("2026-03-01 08:09:00"), at("2026-03-01 08:30:00"), rec::kTimed, opts());
        r.record(5, at("2026-03-01 09:00:00"), at("2026-03-01 09:05:00"), rec::kTimed, opts());
    }, "b");
    mount(2, "b", 1, 4);  // group 36: scanned second although its slot comes first
    mount(5, "a");        // group 0
    mount(6, "a", -1, 0); // the same disk again in group 32: all of it is spanned
    auto [per_channel, merged] = lists(day("2026-03-01"));
    EXPECT_EQ(per_channel, expected(day("2026-03-01")));
    EXPECT_EQ(merged, per_channel);
    EXPECT_EQ(std::count_if(merged.begin(), merged.end(), [](const Found &f) { return std::get<0>(f) != 5; }), 2);
}

TEST_F(CollectTest, NasAndRawDisksGiveTheSameLists) {
    make_disk(shape(1), two_days, "raw");
    make_disk(shape(1, true), two_days, "nas");
    mount(0, "raw");
    auto raw = lists(day("2026-03-01"));
    rfs_remove_disk(0);
    rfs_set_nas_mode(1);
    mount(0, "nas");
    EXPECT_EQ(lists(day("2026-03-01")), raw);
    EXPECT_EQ(raw.first.size(), 9u);
}

TEST_F(CollectTest, MalformedIndexBytesStayInsideTheBuffers) {
    make_disk(shape(1), two_days, "a");
    const rec::Geometry &g = disk("a").geometry;
    const auto &ev = disk("a").events;
    auto file_rec = [&](const rec::EventTruth &e) { return g.part_base[0] + g.file_table_off + 336ull * (e.file_no - 1); };
    poke("a", file_rec(ev[0]) + 6, 0xFFFF, 2); // channel 0's file claims 65535 events
    poke("a", g.part_base[0] + g.event_area_off + uint64_t(g.event_table_size) * (ev[3].file_no - 1) +
                  64ull * (ev[3].event_no - 1) + 40,
         at("2026-03-01 08:00:00"), 4);        // channel 1's first event ends before it starts
    poke("a", file_rec(ev[5]) + 8, 600, 2);    // channel 2's file says channel 600
    mount(0, "a");

    int h = search(day("2026-03-01"));
    ASSERT_GE(h, 0);
    EXPECT_EQ(listed(h, 0).size(), 2u); // the empty table entries match nothing
    ASSERT_EQ(listed(h, 1).size(), 1u); // only the event across midnight
    EXPECT_EQ(listed(h, 2).size(), 0u); // a channel beyond max_rec_chn has no list
    // A merged search lists it.
    Query q = day("2026-03-01");
    q.search_type = 2;
    q.chn_cnt = 1024;
    RfsSearchParam p = param(q);
    std::vector<uint8_t> every(128, 0xFF);
    p.chnBit = every.data();
    RfsEventList merged{};
    ASSERT_GE(rfs_find_start(&p, &merged, 0), 0);
    EXPECT_EQ(std::count_if(merged.list, merged.list + merged.count, [](const RfsEvent &e) { return e.chn == 600; }), 2);
}

TEST_F(CollectTest, FailuresAndEarlyEnds) {
    make_disk(shape(1), two_days, "a");
    make_disk(shape(1, true), two_days, "nas");
    mount(0, "a");
    const rec::Geometry &g = disk("a").geometry;
    auto read_at = [](uint64_t pos, rfs_host::FaultAction action) {
        rfs_host::FaultRule r;
        r.action = action;
        r.from = int64_t(pos);
        r.to = r.from + 1;
        return r;
    };
    rfs_host::FaultRule gone;
    gone.op = rfs_host::FaultOp::open;
    gone.file = "index0";
    struct Case {
        const char *name;
        rfs_host::FaultRule rule;
        long alloc_failure;
        bool nas;
        int code;
        const char *line;
    } cases[] = {
        {"file table short", read_at(g.part_base[0] + g.file_table_off, rfs_host::FaultAction::shorten), -1, false, RFS_ERR_INDEX_READ, "read err"},
        {"event batch unreadable", read_at(g.part_base[0] + g.event_area_off, rfs_host::FaultAction::fail), -1, false, RFS_ERR_INDEX_READ, "read event err"},
        {"no memory for a list", read_at(0, rfs_host::FaultAction::fail), 0, false, RFS_ERR_NO_MEMORY, "realloc event buf err"},
        {"NAS disk dropped", gone, -1, true, RFS_ERR_OPEN, "/rfs/d1 is drop"},
    };
    cases[2].rule.file = "none";
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        if (c.nas) {
            rfs_remove_disk(0);
            rfs_set_nas_mode(1);
            mount(0, "nas");
        }
        rfs_host::fault_clear_rules();
        rfs_host::fault_add(c.rule);
        rfs::set_alloc_failure(c.alloc_failure);
        EXPECT_EQ(search(day("2026-03-01")), c.code);
        EXPECT_TRUE(log_.contains(c.line));
        for (const rfs::SearchSession &s : rfs::g_search) EXPECT_EQ(s.state, 0);
    }

    // Without a pair of usable index copies the search ends early but succeeds.
    rfs_host::fault_clear_rules();
    mount(1, "nas");
    rfs::pg_disk_list[1]->param.set_index_flags(0, 0x01);
    int h = search(day("2026-03-01"));
    ASSERT_GE(h, 0);
    EXPECT_TRUE(log_.contains("can't find valid index!"));
    EXPECT_EQ(all_listed(h).size(), 9u); // disk 0's events, gathered before the end
}

// A day and a half of 8 channels, a 4 s event every 10 s: about 400 full
// data files. A one-day search reads the partition's file table once and the
// event tables 40 files at a time; a longer one stops at 100000 events.
TEST_F(CollectTest, ScanCostsWhatTheLayoutDictates) {
    constexpr int kPerChannel = 12600;
    make_disk(shape(1, false, 420), [](rec::Recorder &r) {
        for (int i = 0; i < kPerChannel; ++i)
            for (int c = 0; c < kChannels; ++c) {
                rec::PackedTime t0 = rec::add_seconds(at("2026-03-01 00:00:00"), 10 * i + c);
                r.record(c, t0, rec::add_seconds(t0, 4), rec::kTimed, opts());
            }
    }, "big");
    mount(0, "big");
    int used = 0; // files holding events of the first day: always a prefix
    for (const rec::EventTruth &e : disk("big").events)
        if (e.start <= at("2026-03-01 23:59:59")) used = std::max(used, e.file_no);
    rfs_host::fault_reset_counts();
    auto t0 = std::chrono::steady_clock::now();
    int h = search(day("2026-03-01"));
    auto t1 = std::chrono::steady_clock::now();
    ASSERT_GE(h, 0);
    const rfs_host::FaultCounts &n = rfs_host::fault_counts();
    EXPECT_EQ(all_listed(h).size(), size_t(kChannels * 8640));
    EXPECT_EQ(n.opens, 1u);
    EXPECT_EQ(n.reads, 1u + (used + 39) / 40);
    std::cout << "one-day search: " << used << " data files, " << n.opens << " open, " << n.reads
              << " reads, " << n.bytes_read << " bytes, "
              << std::chrono::duration<double, std::milli>(t1 - t0).count() << " ms\n";

    Query both = day("2026-03-01");
    both.end = at("2026-03-02 23:59:59");
    h = search(both);
    ASSERT_GE(h, 0);
    EXPECT_EQ(all_listed(h).size(), 100000u);
    EXPECT_TRUE(log_.contains("event num oversize 11520")); // the log names 1440 per channel
}
