// rfs motion against the recorder's motion records: segments and heat map
// for masks that match all, some and none of the cells.
#include <array>

#include "cli_fixture.h"
#include "json_reader.h"

namespace {

using rfs_json::Value;
constexpr int kChn = 2;
using Mask = std::array<uint8_t, 72>;
using Heat = std::vector<std::vector<int>>; // -1 outside the mask

struct Segment {
    std::string start;
    int seconds;
    bool operator==(const Segment &) const = default;
};

bool touches(const Mask &cells, const Mask &mask) {
    for (size_t i = 0; i < mask.size(); ++i)
        if (cells[i] & mask[i]) return true;
    return false;
}

class CliMotionTest : public ::testing::TestWithParam<bool> {
  protected:
    void SetUp() override {
        rec::DiskShape shape;
        shape.files_per_partition = 4;
        shape.nas = GetParam();
        disk_ = dir_.file(shape.nas ? "nas" : "disk.img");
        rec_ = std::make_unique<rec::Recorder>(shape, disk_);
        rec::RecordOptions o{.fps = 5, .key_interval = 10, .key_bytes = 2000, .p_bytes = 200, .motion_step = 1};
        using rec::t;
        rec_->record(kChn, t("2026-03-01 10:00:00"), t("2026-03-01 10:01:00"), rec::kMotion, o);
        o.motion_step = 3; // a second apart from the last event: never joined to it
        rec_->record(kChn, t("2026-03-01 10:01:01"), t("2026-03-01 10:01:40"), rec::kMotion, o);
        rec_->record(kChn, t("2026-03-02 10:00:00"), t("2026-03-02 10:00:30"), rec::kMotion, o); // another day
        rec_->finish();
    }

    // What the library must make of the recorder's records of 2026-03-01.
    std::vector<Segment> segments(const Mask &mask, int gap) const {
        std::vector<Segment> out;
        for (const rec::EventTruth &ev : rec_->events()) {
            if (ev.start >= rec::t("2026-03-02 00:00:00")) continue;
            int64_t last = 0;
            for (rec::PackedTime t : ev.motion) {
                int64_t rt = rec::packed_to_unix(t);
                if (!touches(rec::motion_cells(kChn, t), mask) || t < ev.start || t > ev.end || rt <= last) continue;
                if (rt > last + gap)
                    out.push_back({rec::format_time(t), 1});
                else
                    out.back().seconds += int(rt - last);
                last = rt;
            }
        }
        return out;
    }
    Heat heat(const Mask &mask) const {
        Heat map(24, std::vector<int>(24, 0));
        for (int c = 0; c < 576; ++c) {
            Mask one{};
            one[size_t(c / 8)] = uint8_t(1u << (c % 8));
            map[size_t(c / 24)][size_t(c % 24)] = touches(one, mask) ? int(segments(one, 0).size()) : -1;
        }
        return map;
    }

    TempDir dir_;
    std::string disk_;
    std::unique_ptr<rec::Recorder> rec_;
};

Mask cells_of(int first, int last) {
    Mask m{};
    for (int c = first; c <= last; ++c) m[size_t(c / 8)] |= uint8_t(1u << (c % 8));
    return m;
}

std::string hex(const Mask &m) {
    std::string text = "0x";
    for (uint8_t b : m) text += "0123456789abcdef"[b >> 4], text += "0123456789abcdef"[b & 15];
    return text;
}

} // namespace

TEST_P(CliMotionTest, SegmentsAndHeatMapFollowTheRecordsAndTheMask) {
    Mask all;
    all.fill(0xFF);
    // A cell no record of the day touched, and the row of one that was.
    Heat everywhere = heat(all);
    int idle = 0, busy = 0;
    while (everywhere[size_t(idle / 24)][size_t(idle % 24)] != 0) ++idle;
    while (everywhere[size_t(busy / 24)][size_t(busy % 24)] == 0) ++busy;
    const Mask none = cells_of(idle, idle), row = cells_of(busy / 24 * 24, busy / 24 * 24 + 23);
    const std::string idle_cell = std::to_string(idle / 24) + ":" + std::to_string(idle % 24);

    struct Case {
        std::string cells;
        Mask mask;
        int gap;
    } cases[] = {{"all", all, 5},
                 {std::to_string(busy / 24) + ":*", row, 0},
                 {hex(row), row, 3},
                 {idle_cell, none, 5}};
    for (const Case &c : cases) {
        SCOPED_TRACE(c.cells);
        RunResult r = run_rfs({"motion", disk_, "--channel", std::to_string(kChn), "--day", "2026-03-01", "--cells",
                               c.cells, "--gap", std::to_string(c.gap), "--json"});
        ASSERT_EQ(r.code, 0) << r.err;
        Value doc = Value::parse(r.out);
        std::vector<Segment> got;
        for (const Value &s : doc.at("segments").items()) got.push_back({s.at("start").str(), s.at("seconds").get<int>()});
        EXPECT_EQ(got, segments(c.mask, c.gap));
        Heat map;
        for (const Value &row : doc.at("heat_map").at("seconds").items()) {
            map.emplace_back();
            for (const Value &v : row.items()) map.back().push_back(v.is_null() ? -1 : v.get<int>());
        }
        EXPECT_EQ(map, heat(c.mask));
    }
    EXPECT_TRUE(segments(none, 5).empty());
    EXPECT_LT(segments(row, 0).size(), segments(all, 0).size()); // some records, not all
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
