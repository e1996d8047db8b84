// Label searches, the label month map and the label head of a mount, against
// what the recorder wrote in both halves of the label area, on raw and NAS
// disks; label areas that cannot be read or lack their end record.
#include "search_fixture.h"

namespace {

constexpr int kFillers = 16384 - 6; // half 0 ends with them

// The labels that matter, then fillers up to the end of half 0 and two
// labels in half 1: record numbers 0..5 and 16384, 16385.
void labels(rec::Recorder &r) {
    r.label(1, at("2026-03-01 10:06:00"), "door opened", {.extra_word1 = 11, .extra_word2 = 12, .extra_half = 13});
    r.label(2, at("2026-03-01 09:00:00"), "window");
    r.label(1, at("2026-03-02 09:00:00"), "door closed", {.state = 2});
    r.label(3, at("2026-03-05 10:00:00"), "doorbell", {.state = 0});
    r.label(0, at("2026-03-01 10:06:00"), "door");
    r.label(4, at("2026-03-03 08:00:00"), std::string(60, 'x'));
    for (int i = 0; i < kFillers; ++i) r.label(6, rec::add_seconds(at("2026-01-10 00:00:00"), i), "filler");
    r.label(1, at("2026-03-04 09:00:00"), "door in half one");
    r.label(5, at("2026-03-04 10:00:00"), "gone in half one", {.state = 2});
    r.label(kChannels, at("2026-03-04 11:00:00"), "door of the first channel beyond the library's");
}

} // namespace

class LabelTest : public SearchTest, public ::testing::WithParamInterface<bool> {
  protected:
    void SetUp() override {
        SearchTest::SetUp();
        rec::DiskShape s;
        s.nas = GetParam();
        s.files_per_partition = 2;
        make_disk(s, [&](rec::Recorder &r) {
            labels(r);
            truth_.assign(r.labels().begin(), r.labels().end());
        }, "a");
        rfs_set_nas_mode(GetParam());
        area_ = GetParam() ? 0 : int64_t(disks_["a"].geometry.label_area);
        file_ = GetParam() ? "label0" : "";
    }
    RfsSearchParam march(uint8_t type = 3) { return range("2026-03-01 00:00:00", "2026-03-31 23:59:59", type); }
    // Per channel slot, the record numbers of the labels listed there.
    std::map<int, std::vector<int>> listed_labels() {
        std::map<int, std::vector<int>> out;
        for (int c = 0; c < kChannels; ++c) {
            RfsLabelList l{};
            EXPECT_EQ(rfs_get_label(c, &l), 0);
            for (int i = 0; i < l.count; ++i) out[c].push_back(record_of(l.list[i]));
        }
        std::erase_if(out, [](const auto &e) { return e.second.empty(); });
        return out;
    }
    int record_of(const RfsLabel &l) {
        std::string text(l.text, strnlen(l.text, sizeof l.text));
        for (const rec::LabelTruth &t : truth_)
            if (t.chn == l.chn && t.time == rfs::pack_time(l.time) && t.text.substr(0, 40) == text) return t.record_no;
        return -1;
    }

    std::vector<rec::LabelTruth> truth_;
    int64_t area_ = 0;
    std::string file_;
};
INSTANTIATE_TEST_SUITE_P(RawAndNas, LabelTest, ::testing::Bool());

TEST_P(LabelTest, SearchesAndMonthMapByKeywordChannelAndTimeInBothHalves) {
    mount(0, "a");
    // The head as the mount recomputed it: ranges of the valid labels per half.
    const rfs::LabelHead &h = rfs::pg_disk_list[0]->label_head;
    EXPECT_EQ(std::make_tuple(h.end_record(), h.earliest(0), h.latest(0), h.earliest(1), h.latest(1)),
              std::make_tuple(16387u, at("2026-01-10 00:00:00"), at("2026-03-03 08:00:00"),
                              at("2026-03-04 09:00:00"), at("2026-03-04 11:00:00")));
    static uint8_t chn_3[1] = {0x08};
    RfsSearchParam only_3 = march(), wide = march();
    only_3.chnBit = chn_3;
    wide.chnCnt = 1024; // channel 8 is selected, but has no list
    struct Case { const char *what; RfsSearchParam p; const char *keyword; std::map<int, std::vector<int>> slots; } cases[] = {
        {"every label", march(), "", {{0, {4}}, {1, {0, 16384}}, {2, {1}}, {3, {3}}, {4, {5}}}},
        {"door", march(), "door", {{0, {4}}, {1, {0, 16384}}, {3, {3}}}},
        {"merged, ties by channel", march(2), "door", {{0, {4, 0, 16384, 3}}}},
        {"one channel", only_3, nullptr, {{3, {3}}}},
        {"beyond the lists", wide, "door", {{0, {4}}, {1, {0, 16384}}, {3, {3}}}},
        {"nothing", march(), "no such text", {}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        ASSERT_EQ(rfs_find_label_start(&c.p, c.keyword), 0);
        EXPECT_EQ(listed_labels(), c.slots);
    }
    EXPECT_TRUE(log_.contains("label chn 8 out of range"));
    // Fields carried as stored; a text of 40 characters or more loses its tail.
    RfsSearchParam p = march();
    ASSERT_EQ(rfs_find_label_start(&p, "o"), 0);
    RfsLabelList l{};
    ASSERT_EQ(rfs_get_label(1, &l), 0);
    EXPECT_EQ(std::make_tuple(l.list[0].extra_word1, l.list[0].extra_word2, l.list[0].extra_half), std::make_tuple(11u, 12u, uint16_t(13)));
    ASSERT_EQ(rfs_find_label_start(&p, ""), 0);
    ASSERT_EQ(rfs_get_label(4, &l), 0);
    EXPECT_EQ(std::string(l.list[0].text, 40), std::string(40, 'x'));
    // January lies in half 0 alone: half 1 is not read.
    rfs_host::fault_reset_counts();
    p = range("2026-01-01 00:00:00", "2026-01-31 23:59:59");
    ASSERT_EQ(rfs_find_label_start(&p, "filler"), 0);
    EXPECT_EQ(rfs_host::fault_counts().reads, 1u);
    ASSERT_EQ(rfs_get_label(6, &l), 0);
    EXPECT_EQ(l.count, kFillers);
    EXPECT_EQ(rfs_find_label_stop(), 0);
    EXPECT_EQ(listed_labels(), (std::map<int, std::vector<int>>{}));
    // The month map: days with a valid label of a selected channel, not the
    // deleted label of the 2nd nor the state-0 label of the 5th.
    static uint8_t chn_2[1] = {0x04};
    for (uint8_t *channels : {(uint8_t *)nullptr, chn_2}) {
        RfsSearchParam month_map = month("2026-03", 2);
        if (channels) month_map.chnBit = channels;
        RfsMonthResult m = calendar(month_map);
        std::vector<int> days = channels ? std::vector<int>{0} : std::vector<int>{0, 2, 3};
        for (int d = 0; d < 31; ++d) EXPECT_EQ(m.day_types[d], std::count(days.begin(), days.end(), d) ? 1u : 0u) << d;
        for (uint32_t c : m.channel_days) EXPECT_EQ(c, 0u);
    }
}

TEST_P(LabelTest, UnreadableAreasAndMissingEndRecord) {
    using rfs_host::FaultOp;
    RfsSearchParam p = march();
    RfsMonthResult m{};
    RfsSearchParam label_month = month("2026-03", 2);
    // A head that cannot be read: the disk mounts, its labels search as empty.
    rfs_host::fault_add({.file = file_, .from = area_, .to = area_ + 1});
    mount(0, "a");
    EXPECT_TRUE(log_.contains("get label head err!"));
    EXPECT_EQ(rfs::pg_disk_list[0]->label_head.presence(), 0u);
    EXPECT_EQ(rfs_find_label_start(&p, ""), 0);
    EXPECT_EQ(listed_labels(), (std::map<int, std::vector<int>>{}));
    calendar(label_month);
    rfs_host::fault_clear_rules();
    mount(0, "a");
    struct Case { rfs_host::FaultRule rule; const char *search_line, *month_line; } cases[] = {
        {{.file = file_, .from = area_ + 0x400, .to = area_ + 0x401}, "read err!", "read err!"},
        {{.op = FaultOp::open, .file = GetParam() ? "label0" : disks_["a"].alias}, "open hdd failed", "open disk /rfs/d0 failed"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.search_line);
        rfs_host::fault_add(c.rule);
        log_.clear();
        EXPECT_EQ(rfs_find_label_start(&p, ""), -1);
        EXPECT_EQ(rfs_find_start(&label_month, &m, 0), -1);
        EXPECT_TRUE(log_.contains(c.search_line) && log_.contains(c.month_line));
        rfs_host::fault_clear_rules();
    }
    // No Lend record, and a stored end-record number beyond the area.
    const std::string path = GetParam() ? tmp_.file("a") + "/label0" : tmp_.file("a");
    poke(path, uint64_t(area_) + 0x400 + 64 * 16387, 0);
    poke(path, uint64_t(area_) + 8, 0xFFFFFFFF);
    mount(0, "a");
    EXPECT_TRUE(log_.contains("no Lend record in label area, end record:4294967295"));
    EXPECT_EQ(rfs::pg_disk_list[0]->label_head.end_record(), 32767u);
    ASSERT_EQ(rfs_find_label_start(&p, "door"), 0);
    EXPECT_EQ(listed_labels().at(1).size(), 2u);
}

TEST_F(SearchTest, LabelCallErrorsAndDisksWithoutLabels) {
    rec::DiskShape s;
    s.labels = false;
    make_disk(s, [](rec::Recorder &) {}, "plain");
    mount(0, "plain");
    RfsSearchParam p = day("2026-03-01"), no_channels = p;
    no_channels.chnBit = nullptr;
    RfsLabelList l{};
    expect_codes({{"a disk without labels", [&] { return rfs_find_label_start(&p, ""); }, 0, "disk 0 not formart to support label!!!"},
                  {"channel -1", [&] { return rfs_get_label(-1, &l); }, -1, "chn error"},
                  {"channel 8", [&] { return rfs_get_label(kChannels, &l); }, -1, "chn error"},
                  {"no channels", [&] { return rfs_find_label_start(&no_channels, ""); }, -1, "chnbit error"}});
}
