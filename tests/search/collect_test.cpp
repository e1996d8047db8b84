// What event searches return: every filter against the recorder's truth, the
// merged and per-channel orders, the two disk-group halves, NAS and raw disks,
// malformed index bytes, failures, and what the scan costs in storage calls.
#include "search_fixture.h"

namespace {

// Two days on several channels; channels 4 and 7 go to the second partition.
void two_days(rec::Recorder &r) {
    record(r, 0, "2026-03-01 08:00:00", "2026-03-01 08:10:00", rec::kTimed);
    record(r, 0, "2026-03-01 12:00:00", "2026-03-01 12:05:00", rec::kMotion);
    record(r, 0, "2026-03-02 09:00:00", "2026-03-02 09:03:00", rec::kAlarm);
    record(r, 1, "2026-03-01 08:05:00", "2026-03-01 08:20:00", rec::kMotion);
    record(r, 1, "2026-03-01 23:58:00", "2026-03-02 00:03:00", rec::kTimed);
    record(r, 2, "2026-03-01 10:00:00", "2026-03-01 10:01:00", rec::kManual | rec::kMotion);
    record(r, 2, "2026-03-01 11:00:00", "2026-03-01 11:01:00", rec::kTimed, 1);
    record(r, 2, "2026-03-01 11:30:00", "2026-03-01 11:31:00", rec::kTimed, 2);
    record(r, 3, "2026-03-01 13:00:00", "2026-03-01 13:00:00", rec::kTimed);
    if (r.geometry().part_base.size() > 1) r.use_partition(1);
    record(r, 4, "2026-03-01 14:00:00", "2026-03-01 14:10:00", rec::kAlarm);
    record(r, 7, "2026-03-01 08:00:00", "2026-03-01 15:01:00", rec::kTimed);
}

} // namespace

class CollectTest : public SearchTest {
  protected:
    // Per-channel and merged lists of one query, the merged one read in place.
    std::pair<std::vector<Found>, std::vector<Found>> lists(RfsSearchParam q) {
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

// NAS and raw disks give the same lists: those the recorder's truth predicts.
class FilterTest : public CollectTest, public ::testing::WithParamInterface<bool> {};
INSTANTIATE_TEST_SUITE_P(RawAndNas, FilterTest, ::testing::Bool());

// Record types live in all 64 bits: an event of types 40 and 63 beside the
// low ones of the two days.
constexpr uint64_t kHighTypes = 1ull << 63 | 1ull << 40;

TEST_P(FilterTest, EveryFilterReturnsWhatWasRecorded) {
    make_disk(headers_only(GetParam() ? 1 : 2, GetParam()), [](rec::Recorder &r) {
        two_days(r);
        record(r, 5, "2026-03-01 16:00:00", "2026-03-01 16:05:00", kHighTypes);
    }, "a"); // NAS: one partition
    rfs_set_nas_mode(GetParam());
    mount(0, "a");
    static uint8_t chn_0_2[1] = {0b101};
    static uint64_t manual_motion[] = {rec::kManual | rec::kMotion}, alarm_or_all[] = {rec::kAlarm, 0};
    static uint64_t high_pair[] = {kHighTypes}, high_and_motion[] = {1ull << 63 | rec::kMotion};
    std::vector<std::pair<const char *, RfsSearchParam>> cases = {{"whole day", day("2026-03-01")},
                                                                  {"across midnight", day("2026-03-02")}};
    auto add = [&](const char *name, auto change) {
        cases.push_back({name, day("2026-03-01")});
        change(cases.back().second);
    };
    add("channels 0 and 2", [](RfsSearchParam &p) { p.chnBit = chn_0_2; });
    add("chnCnt cuts the bitmap", [](RfsSearchParam &p) { p.chnCnt = 2; });
    add("record type", [](RfsSearchParam &p) { p.record_type = rec::kMotion; });
    auto types = [](uint64_t *list, uint32_t n) {
        return [=](RfsSearchParam &p) { p.record_type = 0, p.integratedRecType = list, p.integratedRecTypeCount = n; };
    };
    add("combined type needs all its bits", types(manual_motion, 1));
    add("combined type 0 takes everything", types(alarm_or_all, 2));
    add("record type 63", [](RfsSearchParam &p) { p.record_type = 1ull << 63; });
    add("record type 31 is not 63", [](RfsSearchParam &p) { p.record_type = 1ull << 31; });
    add("combined high types", types(high_pair, 1));
    add("combined type 63 needs motion too", types(high_and_motion, 1));
    add("zero-length events left out", [](RfsSearchParam &p) { p.skip_zero_length = 1; });
    add("range touching an end exactly", [](RfsSearchParam &p) { rfs::unpack_time(at("2026-03-01 08:10:00"), &p.start); p.end = p.start; });
    add("inverted range", [](RfsSearchParam &p) { std::swap(p.start, p.end); });
    ASSERT_EQ(expected(day("2026-03-01")).size(), 10u);
    for (const auto &[name, q] : cases) {
        SCOPED_TRACE(name);
        auto [per_channel, merged] = lists(q);
        EXPECT_EQ(per_channel, expected(q));
        EXPECT_EQ(merged, expected(q));
    }
    // The fields a record carries beyond those compared above and those
    // playback relies on: channel 2's second event, stored with skip_flag 2.
    RfsEventList l{}, high{};
    const int h = search(day("2026-03-01"));
    ASSERT_TRUE(rfs_get_event(uint32_t(h), 2, &l) == 0 && l.count == 2 && rfs_get_event(uint32_t(h), 5, &high) == 0 && high.count == 1);
    const rec::EventTruth &t = disks_["a"].events[7];
    const RfsEvent &e = l.list[1];
    EXPECT_EQ(std::make_tuple(e.record_type, e.covered, e.status2, e.group_half, e.stored_word28, e.stored_word56, high.list[0].record_type),
              std::make_tuple(t.type_mask, uint8_t(0), uint8_t(1), uint8_t(0), t.moarea_start, t.moarea_end, kHighTypes));
}

TEST_F(CollectTest, SecondGroupHalfKeepsOnlyWhatTheFirstDoesNotSpan) {
    make_disk(headers_only(2), two_days, "a");
    make_disk(headers_only(1), [](rec::Recorder &r) {
        record(r, 0, "2026-03-01 08:02:00", "2026-03-01 08:08:00", rec::kTimed);
        record(r, 0, "2026-03-01 08:09:00", "2026-03-01 08:30:00", rec::kTimed);
        record(r, 5, "2026-03-01 09:00:00", "2026-03-01 09:05:00", rec::kTimed);
    }, "b");
    mount(2, "b", 1, 4);  // group 36: scanned second although its slot comes first
    mount(5, "a");        // group 0
    mount(6, "a", -1, 0); // the same disk again in group 32: all of it is spanned
    // A refused group: reported in the first pass only, never scanned.
    ASSERT_EQ(rfs_add_disk(7, disks_["a"].alias.c_str(), 0, 99, nullptr), 0);
    auto [per_channel, merged] = lists(day("2026-03-01"));
    EXPECT_EQ(per_channel, expected(day("2026-03-01")));
    EXPECT_EQ(merged, per_channel);
    EXPECT_EQ(log_.count("disk[7] is in valid disk group[-1]"), 2); // one per search
    EXPECT_EQ(std::count_if(merged.begin(), merged.end(), [](const Found &f) { return std::get<0>(f) != 5; }), 2);
}

TEST_F(CollectTest, MalformedIndexBytesStayInsideTheBuffers) {
    const Disk &d = make_disk(headers_only(1), two_days, "a");
    const rec::Geometry &g = d.geometry;
    auto file_rec = [&](int i) { return g.part_base[0] + g.file_table_off + 336ull * (d.events[size_t(i)].file_no - 1); };
    const rec::EventTruth &e3 = d.events[3];
    const uint64_t e3_end = g.part_base[0] + g.event_area_off + uint64_t(g.event_table_size) * (e3.file_no - 1) + 64ull * (e3.event_no - 1) + 40;
    poke(tmp_.file("a"), file_rec(0) + 6, 0xFFFF, 2);            // channel 0's file claims 65535 events
    poke(tmp_.file("a"), e3_end, at("2026-03-01 08:00:00"));     // channel 1's first event ends before it starts
    poke(tmp_.file("a"), file_rec(5) + 8, 600, 2);               // channel 2's file says channel 600
    mount(0, "a");
    int h = search(day("2026-03-01"));
    ASSERT_GE(h, 0);
    EXPECT_EQ(listed(h, 0).size(), 2u); // the empty table entries match nothing
    EXPECT_EQ(listed(h, 1).size(), 1u); // only the event across midnight
    EXPECT_EQ(listed(h, 2).size(), 0u); // a channel beyond max_rec_chn has no list
    // A merged search lists it.
    RfsSearchParam p = day("2026-03-01", 2);
    p.chnCnt = 1024;
    RfsEventList merged{};
    ASSERT_GE(search(p, &merged), 0);
    EXPECT_EQ(std::count_if(merged.list, merged.list + merged.count, [](const RfsEvent &e) { return e.chn == 600; }), 2);
}

TEST_F(CollectTest, FailuresLeaveNoSessionAndLostIndexesEndEarly) {
    const rec::Geometry &g = make_disk(headers_only(1), two_days, "a").geometry;
    make_disk(headers_only(1, true), two_days, "nas");
    mount(0, "a");
    using rfs_host::FaultAction, rfs_host::FaultOp;
    const int64_t files = int64_t(g.part_base[0] + g.file_table_off), events = int64_t(g.part_base[0] + g.event_area_off);
    struct Case { rfs_host::FaultRule rule; long alloc_failure; int code; const char *line; } cases[] = {
        {{.action = FaultAction::shorten, .file = {}, .from = files, .to = files + 1}, -1, RFS_ERR_INDEX_READ, "read err"},
        {{.file = {}, .from = events, .to = events + 1}, -1, RFS_ERR_INDEX_READ, "read event err"},
        // Scratch comes first (channel counts, file table, event batch), then the list.
        {{.file = "none"}, 0, RFS_ERR_NO_MEMORY, "malloc index_file_info err"},
        {{.file = "none"}, 2, RFS_ERR_NO_MEMORY, "malloc index_event_info err"},
        {{.file = "none"}, 3, RFS_ERR_NO_MEMORY, "realloc event buf err"},
        {{.op = FaultOp::open, .file = "index0"}, -1, RFS_ERR_OPEN, "/rfs/d1 is drop"}, // a NAS disk dropped
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.line);
        if (c.code == RFS_ERR_OPEN) {
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
    const Disk &d = make_disk(headers_only(1, false, 420), [](rec::Recorder &r) {
        rec::RecordOptions o;
        o.fps = 1;
        for (int i = 0; i < kPerChannel; ++i)
            for (int c = 0; c < kChannels; ++c) {
                rec::PackedTime t0 = rec::add_seconds(at("2026-03-01 00:00:00"), 10 * i + c);
                r.record(c, t0, rec::add_seconds(t0, 4), rec::kTimed, o);
            }
    }, "big");
    mount(0, "big");
    int used = 0; // files holding events of the first day: always a prefix
    for (const rec::EventTruth &e : d.events)
        if (e.start <= at("2026-03-01 23:59:59")) used = std::max(used, e.file_no);
    rfs_host::fault_reset_counts();
    int h = search(day("2026-03-01"));
    ASSERT_GE(h, 0);
    EXPECT_EQ(rfs_host::fault_counts().opens, 1u);
    EXPECT_EQ(rfs_host::fault_counts().reads, 1u + (used + 39) / 40);
    EXPECT_EQ(all_listed(h).size(), size_t(kChannels * 8640));
    h = search(range("2026-03-01 00:00:00", "2026-03-02 23:59:59"));
    ASSERT_GE(h, 0);
    EXPECT_EQ(all_listed(h).size(), 100000u);
    EXPECT_TRUE(log_.contains("event num oversize 11520")); // the log names 1440 per channel
}
