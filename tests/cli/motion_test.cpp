// rfs motion against the recorder's motion records: segments and heat map
// for masks that match all, some and none of the cells, on a quiet channel
// (a map per cell), a busy one (a map of blocks) and one whose motion stays
// in a corner.
#include <array>
#include <filesystem>

#include "cli_fixture.h"
#include "json_reader.h"

namespace {

using rfs_json::Value;
using Mask = std::array<uint8_t, 72>;
using Heat = std::vector<std::vector<int>>; // -1: no cell of the mask
constexpr int kQuiet = 2, kBusy = 5, kCorner = 7;

struct Segment {
    std::string start, end;
    int seconds;
    bool operator==(const Segment &) const = default;
};

bool touches(const Mask &cells, const Mask &mask) {
    for (size_t i = 0; i < mask.size(); ++i)
        if (cells[i] & mask[i]) return true;
    return false;
}

Mask cells_of(int first, int last) {
    Mask m{};
    for (int c = first; c <= last; ++c) m[size_t(c / 8)] |= uint8_t(1u << (c % 8));
    return m;
}

// The cells of `mask` in the block of `side` cells at block (r, c).
Mask block_of(const Mask &mask, int side, int r, int c) {
    Mask m{};
    for (int i = r * side; i < r * side + side; ++i) {
        Mask row = cells_of(i * 24 + c * side, i * 24 + c * side + side - 1);
        for (size_t k = 0; k < m.size(); ++k) m[k] |= row[k] & mask[k];
    }
    return m;
}

std::string hex(const Mask &m) {
    std::string text = "0x";
    for (uint8_t b : m) text += "0123456789abcdef"[b >> 4], text += "0123456789abcdef"[b & 15];
    return text;
}

class CliMotionTest : public ::testing::TestWithParam<bool> {
  protected:
    void SetUp() override {
        rec::DiskShape shape;
        shape.files_per_partition = 6;
        shape.nas = GetParam();
        shape.headers_only = true;
        disk_ = dir_.file(shape.nas ? "nas" : "disk.img");
        rec_ = std::make_unique<rec::Recorder>(shape, disk_);
        rec::RecordOptions o{.fps = 1, .key_interval = 2, .motion_step = 1};
        using rec::t;
        rec_->record(kQuiet, t("2026-02-28 23:59:50"), t("2026-03-01 00:00:10"), rec::kMotion, o); // across midnight
        rec_->record(kQuiet, t("2026-03-01 10:00:00"), t("2026-03-01 10:00:20"), rec::kMotion, o);
        rec::RecordOptions sparse = o;
        sparse.motion_step = 3; // a second apart from the last event: never joined to it
        rec_->record(kQuiet, t("2026-03-01 10:00:21"), t("2026-03-01 10:00:50"), rec::kMotion, sparse);
        rec_->record(kQuiet, t("2026-03-02 10:00:00"), t("2026-03-02 10:00:30"), rec::kMotion, sparse);
        // 6001 records, 480 KB: a map per cell would read 600 times as much, more than 256 MiB.
        rec_->record(kBusy, t("2026-03-01 10:00:00"), t("2026-03-01 11:40:00"), rec::kMotion, o);
        // Motion in rows 21-22 and columns 11-16 only: most rows of the map are spared.
        rec_->record(kCorner, t("2026-03-01 12:00:00"), t("2026-03-01 12:00:04"), rec::kMotion, o);
        rec_->finish();
    }

    // The records of chn's events that meet 2026-03-01 and lie in their event.
    template <typename Visit> void each_record(int chn, Visit visit) const {
        for (const rec::EventTruth &ev : rec_->events())
            if (ev.chn == chn && ev.start <= day_end_ && ev.end >= day_start_)
                for (rec::PackedTime t : ev.motion)
                    if (t >= ev.start && t <= ev.end) visit(ev, t);
    }
    // What the library must make of them: records of matching cells at most
    // `gap` seconds apart joined, never across events; the segments that
    // meet the day.
    std::vector<Segment> segments(int chn, const Mask &mask, int gap) const {
        std::vector<Segment> all;
        const rec::EventTruth *in = nullptr;
        int64_t last = 0;
        each_record(chn, [&](const rec::EventTruth &ev, rec::PackedTime t) {
            if (&ev != in) in = &ev, last = 0;
            int64_t rt = rec::packed_to_unix(t);
            if (!touches(rec::motion_cells(chn, t), mask)) return;
            if (rt > last + gap)
                all.push_back({rec::format_time(t), rec::format_time(t), 1});
            else
                all.back().seconds += int(rt - last), all.back().end = rec::format_time(t);
            last = rt;
        });
        std::vector<Segment> out;
        for (const Segment &s : all)
            if (s.start <= "2026-03-01 23:59:59" && s.end >= "2026-03-01 00:00:00") out.push_back(s);
        return out;
    }
    // Seconds of the day with motion in each block's cells of the mask.
    Heat heat(int chn, const Mask &mask, int side) const {
        const size_t n = size_t(24 / side);
        Heat map(n, std::vector<int>(n, -1));
        auto in = [&](const Mask &m, int c) { return m[size_t(c / 8)] >> (c % 8) & 1; };
        for (int c = 0; c < 576; ++c)
            if (in(mask, c)) map[size_t(c / 24 / side)][size_t(c % 24 / side)] = 0;
        each_record(chn, [&](const rec::EventTruth &, rec::PackedTime t) {
            if (t < day_start_ || t > day_end_) return;
            Heat hit(n, std::vector<int>(n, 0));
            Mask cells = rec::motion_cells(chn, t);
            for (int c = 0; c < 576; ++c)
                if (in(cells, c) && in(mask, c)) hit[size_t(c / 24 / side)][size_t(c % 24 / side)] = 1;
            for (size_t r = 0; r < n; ++r)
                for (size_t k = 0; k < n; ++k) map[r][k] += hit[r][k];
        });
        return map;
    }

    TempDir dir_;
    std::string disk_;
    std::unique_ptr<rec::Recorder> rec_;
    const rec::PackedTime day_start_ = rec::t("2026-03-01 00:00:00"), day_end_ = rec::t("2026-03-01 23:59:59");
};

} // namespace

TEST_P(CliMotionTest, SegmentsAndHeatMapFollowTheRecordsAndTheMask) {
    Mask all;
    all.fill(0xFF);
    // A cell no record of the day touched, and the row of one that was.
    Heat everywhere = heat(kQuiet, all, 1);
    int idle = 0, busy = 0;
    while (everywhere[size_t(idle / 24)][size_t(idle % 24)] != 0) ++idle;
    while (everywhere[size_t(busy / 24)][size_t(busy % 24)] == 0) ++busy;
    const Mask none = cells_of(idle, idle), row = cells_of(busy / 24 * 24, busy / 24 * 24 + 23);
    const std::string idle_cell = std::to_string(idle / 24) + ":" + std::to_string(idle % 24);
    ASSERT_TRUE(segments(kQuiet, none, 5).empty());
    ASSERT_LT(segments(kQuiet, row, 0).size(), segments(kQuiet, all, 0).size()); // some records, not all
    // On the busy channel a small mask still gets a map per cell.
    Mask top_and_corner = cells_of(0, 6 * 24 - 1), corner = block_of(all, 4, 5, 5);
    for (size_t k = 0; k < all.size(); ++k) top_and_corner[k] |= corner[k];

    struct Case {
        int chn;
        std::string cells;
        Mask mask;
        int gap, block;
    } cases[] = {{kQuiet, "all", all, 5, 1},
                 {kQuiet, std::to_string(busy / 24) + ":*", row, 0, 1},
                 {kQuiet, hex(row), row, 3, 1},
                 {kQuiet, idle_cell, none, 5, 1},
                 {kBusy, "all", all, 5, 2},
                 {kBusy, "0-5:*,20-23:20-23", top_and_corner, 2, 1},
                 {kCorner, "all", all, 0, 1}};
    for (const Case &c : cases) {
        SCOPED_TRACE(std::to_string(c.chn) + " " + c.cells);
        RunResult r = run_rfs({"motion", disk_, "--channel", std::to_string(c.chn), "--day", "2026-03-01", "--cells",
                               c.cells, "--gap", std::to_string(c.gap), "--json"});
        ASSERT_EQ(r.code, 0) << r.err;
        Value doc = Value::parse(r.out);
        std::vector<Segment> got;
        for (const Value &s : doc.at("segments").items())
            got.push_back({s.at("start").str(), s.at("end").str(), s.at("seconds").get<int>()});
        EXPECT_EQ(got, segments(c.chn, c.mask, c.gap));
        size_t recordings = 0;
        for (const rec::EventTruth &ev : rec_->events())
            recordings += ev.chn == c.chn && ev.start <= day_end_ && ev.end >= day_start_;
        EXPECT_EQ(doc.at("recordings").get<size_t>(), recordings);
        ASSERT_EQ(doc.at("heat_map").at("block").get<int>(), c.block);
        Heat map;
        for (const Value &row : doc.at("heat_map").at("seconds").items()) {
            map.emplace_back();
            for (const Value &v : row.items()) map.back().push_back(v.is_null() ? -1 : v.get<int>());
        }
        EXPECT_EQ(map, heat(c.chn, c.mask, c.block));
    }
}

TEST_P(CliMotionTest, MotionThatCannotBeReadIsSaid) {
    if (!GetParam()) GTEST_SKIP() << "a NAS disk's data file is a file of its own";
    for (const rec::EventTruth &ev : rec_->events())
        if (ev.chn == kCorner) std::filesystem::remove(disk_ + "/file" + std::to_string(ev.file_no - 1));
    RunResult r = run_rfs({"motion", disk_, "--channel", std::to_string(kCorner), "--day", "2026-03-01", "--json",
                           "--strict"});
    EXPECT_EQ(r.code, 1) << r.err;
    Value doc = Value::parse(r.out);
    EXPECT_TRUE(doc.at("segments").items().empty());
    ASSERT_EQ(doc.at("problems").size(), 1u);
    EXPECT_EQ(doc.at("problems")[0].at("kind").str(), "motion");
    EXPECT_NE(r.err.find("an event's data file does not open"), std::string::npos) << r.err;
}

TEST(CliMotion, RefusesMasksThatSelectNothingOrCannotBeRead) {
    const std::string zeros = "0x" + std::string(144, '0');
    for (const std::string &mask : {std::string(""), std::string("24:0"), std::string("3-1:0"), std::string("0:0-"),
                                    std::string("x"), std::string("0x00"), std::string("1,2:3"), zeros}) {
        RunResult r = run_rfs({"motion", "/nonexistent", "--channel", "0", "--day", "2026-03-01", "--cells", mask});
        EXPECT_EQ(r.code, 2) << mask << ": " << r.err;
    }
}

INSTANTIATE_TEST_SUITE_P(RawAndNas, CliMotionTest, ::testing::Bool(),
                         [](const auto &info) { return info.param ? "Nas" : "Raw"; });
