// rfs motion against the recorder's motion records: segments and heat map
// for masks that match all, some and none of the cells, on a quiet channel
// (a map per cell) and a busy one (a map of blocks).
#include <array>
#include <filesystem>

#include "cli_fixture.h"

namespace {

using rfs_json::Value;
using Mask = std::array<uint8_t, 72>;
using Heat = std::vector<std::vector<int>>; // -1: no cell of the mask
constexpr int kQuiet = 2, kBusy = 5;

bool in(const Mask &m, int cell) { return m[size_t(cell / 8)] >> (cell % 8) & 1; }

// The cells of rows r0..r1 and columns c0..c1, added to `m`.
Mask rect(int r0, int r1, int c0, int c1, Mask m = {}) {
    for (int r = r0; r <= r1; ++r)
        for (int c = c0; c <= c1; ++c) m[size_t((r * 24 + c) / 8)] |= uint8_t(1u << ((r * 24 + c) % 8));
    return m;
}

std::string hex(const Mask &m) {
    std::string text = "0x";
    for (uint8_t b : m) text += "0123456789abcdef"[b >> 4], text += "0123456789abcdef"[b & 15];
    return text;
}

class CliMotionTest : public RecorderDiskTest {
  protected:
    void SetUp() override {
        rec::Recorder &r = make_disk(6, true);
        rec::RecordOptions o{.fps = 1, .key_interval = 2, .motion_step = 1}, sparse = o;
        sparse.motion_step = 3; // a second apart from the last event: never joined to it
        using rec::t;
        r.record(kQuiet, t("2026-02-28 23:59:50"), t("2026-03-01 00:00:10"), rec::kMotion, o); // across midnight
        r.record(kQuiet, t("2026-03-01 10:00:00"), t("2026-03-01 10:00:20"), rec::kMotion, o);
        r.record(kQuiet, t("2026-03-01 10:00:21"), t("2026-03-01 10:00:50"), rec::kMotion, sparse);
        r.record(kQuiet, t("2026-03-02 10:00:00"), t("2026-03-02 10:00:30"), rec::kMotion, sparse);
        // 6001 records, 480 KB: a map per cell would read 600 times as much, more than 256 MiB.
        r.record(kBusy, t("2026-03-01 10:00:00"), t("2026-03-01 11:40:00"), rec::kMotion, o);
        r.finish();
    }

    // What the tool must answer for 2026-03-01 from the recorder's motion
    // records: the segments ("start end seconds") of records of matching
    // cells at most `gap` seconds apart, never joined across events, that
    // meet the day; and per block of `side` cells, the seconds of the day
    // with motion in its cells of the mask (-1: none in the mask).
    std::pair<std::vector<std::string>, Heat> expected(int chn, const Mask &mask, int gap, int side) const {
        const size_t n = size_t(24 / side);
        Heat heat(n, std::vector<int>(n, -1));
        auto block = [&](Heat &h, int c) -> int & { return h[size_t(c / 24 / side)][size_t(c % 24 / side)]; };
        for (int c = 0; c < 576; ++c)
            if (in(mask, c)) block(heat, c) = 0;
        std::vector<std::pair<rec::PackedTime, int64_t>> all; // first record, seconds
        for (const rec::EventTruth &ev : rec_->events()) {
            if (ev.chn != chn || ev.start > day_end_ || ev.end < day_start_) continue;
            int64_t last = 0;
            for (rec::PackedTime t : ev.motion) {
                if (t < ev.start || t > ev.end) continue;
                const Mask cells = rec::motion_cells(chn, t);
                Heat hit(n, std::vector<int>(n, 0));
                for (int c = 0; c < 576; ++c)
                    if (in(cells, c) && in(mask, c)) block(hit, c) = 1;
                if (hit == Heat(n, std::vector<int>(n, 0))) continue;
                for (size_t r = 0; r < n; ++r)
                    for (size_t k = 0; k < n && t >= day_start_ && t <= day_end_; ++k) heat[r][k] += hit[r][k];
                int64_t now = rec::packed_to_unix(t);
                if (now > last + gap) all.push_back({t, 1});
                else all.back().second += now - last;
                last = now;
            }
        }
        std::vector<std::string> segments;
        for (auto [start, seconds] : all) {
            rec::PackedTime end = rec::unix_to_packed(rec::packed_to_unix(start) + seconds - 1);
            if (start <= day_end_ && end >= day_start_)
                segments.push_back(rec::format_time(start) + " " + rec::format_time(end) + " " + std::to_string(seconds));
        }
        return {segments, heat};
    }

    const rec::PackedTime day_start_ = rec::t("2026-03-01 00:00:00"), day_end_ = rec::t("2026-03-01 23:59:59");
};

} // namespace

TEST_P(CliMotionTest, SegmentsAndHeatMapFollowTheRecordsAndTheMask) {
    const Mask all = rect(0, 23, 0, 23);
    // A cell no record of the day touched, and the row of one that was.
    const Heat everywhere = expected(kQuiet, all, 0, 1).second;
    int idle = 0, busy = 0;
    while (everywhere[size_t(idle / 24)][size_t(idle % 24)] != 0) ++idle;
    while (everywhere[size_t(busy / 24)][size_t(busy % 24)] == 0) ++busy;
    const Mask none = rect(idle / 24, idle / 24, idle % 24, idle % 24), row = rect(busy / 24, busy / 24, 0, 23);
    ASSERT_TRUE(expected(kQuiet, none, 5, 1).first.empty());
    ASSERT_LT(expected(kQuiet, row, 0, 1).first.size(), expected(kQuiet, all, 0, 1).first.size()); // some records, not all
    struct Case { int chn; std::string cells; Mask mask; int gap, block; } cases[] = {
        {kQuiet, "all", all, 5, 1},
        {kQuiet, std::to_string(busy / 24) + ":*", row, 0, 1},
        {kQuiet, hex(row), row, 3, 1},
        {kQuiet, std::to_string(idle / 24) + ":" + std::to_string(idle % 24), none, 5, 1},
        {kBusy, "all", all, 5, 2},
        // On the busy channel a small mask still gets a map per cell.
        {kBusy, "0-5:*,20-23:20-23", rect(20, 23, 20, 23, rect(0, 5, 0, 23)), 2, 1}};
    for (const Case &c : cases) {
        SCOPED_TRACE(std::to_string(c.chn) + " " + c.cells);
        Value doc = json({"motion", "--channel", std::to_string(c.chn), "--day", "2026-03-01", "--cells", c.cells,
                          "--gap", std::to_string(c.gap)});
        std::vector<std::string> segments;
        for (const Value &s : doc.at("segments").items())
            segments.push_back(s.at("start").str() + " " + s.at("end").str() + " " + std::to_string(s.at("seconds").get<int>()));
        size_t recordings = 0;
        for (const rec::EventTruth &ev : rec_->events())
            recordings += ev.chn == c.chn && ev.start <= day_end_ && ev.end >= day_start_;
        EXPECT_EQ(doc.at("recordings").get<size_t>(), recordings);
        ASSERT_EQ(doc.at("heat_map").at("block").get<int>(), c.block);
        Heat heat;
        for (const Value &r : doc.at("heat_map").at("seconds").items()) {
            heat.emplace_back();
            for (const Value &v : r.items()) heat.back().push_back(v.is_null() ? -1 : v.get<int>());
        }
        EXPECT_EQ(std::make_pair(segments, heat), expected(c.chn, c.mask, c.gap, c.block));
    }
}

TEST_P(CliMotionTest, MotionThatCannotBeReadIsSaid) {
    if (!nas()) GTEST_SKIP() << "a NAS disk's data file is a file of its own";
    for (const rec::EventTruth &ev : rec_->events())
        if (ev.chn == kBusy) std::filesystem::remove(disk_ + "/file" + std::to_string(ev.file_no - 1));
    RunResult r = run_rfs({"motion", disk_, "--channel", std::to_string(kBusy), "--day", "2026-03-01", "--json", "--strict"});
    EXPECT_EQ(r.code, 1) << r.err;
    Value doc = Value::parse(r.out);
    EXPECT_TRUE(doc.at("segments").items().empty());
    ASSERT_EQ(doc.at("problems").size(), 1u);
    EXPECT_EQ(doc.at("problems")[0].at("kind").str(), "motion");
    EXPECT_TRUE(has(r.err, "an event's data file does not open")) << r.err;
}

TEST(CliMotion, RefusesMasksThatSelectNothingOrCannotBeRead) {
    for (const std::string &mask : std::vector<std::string>{"", "24:0", "3-1:0", "0:0-", "x", "0x00", "1,2:3", "0x" + std::string(144, '0')}) {
        RunResult r = run_rfs({"motion", "/nonexistent", "--channel", "0", "--day", "2026-03-01", "--cells", mask});
        EXPECT_EQ(r.code, 2) << mask << ": " << r.err;
    }
}

INSTANTIATE_TEST_SUITE_P(RawAndNas, CliMotionTest, ::testing::Bool(), raw_or_nas);
