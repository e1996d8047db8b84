// Motion segments for an area mask, the recording time range over all disks
// and which channels recorded in a span.
#include "repair_fixture.h"

#include <cstring>

#include "frame/time.h"

namespace {

RfsDateTime dt(rec::PackedTime t) {
    RfsDateTime d{};
    rfs::unpack_time(t, &d);
    return d;
}

class MotionTest : public RepairTest {
  protected:
    // Channel 2 with motion records every second from 10:00:00 to 10:00:20,
    // and again from 10:00:21 (a second event) to 10:00:30.
    void SetUp() override {
        RepairTest::SetUp();
        std::string path = make_disk(small_disk(), [&](rec::Recorder &r) {
            rec::RecordOptions o{.fps = 10, .key_interval = 10, .key_bytes = 1000, .p_bytes = 100, .motion_step = 1};
            r.record(2, rec::t("2026-03-01 10:00:00"), rec::t("2026-03-01 10:00:20"), rec::kMotion, o);
            r.record(2, rec::t("2026-03-01 10:00:21"), rec::t("2026-03-01 10:00:30"), rec::kMotion, o);
            truth_.assign(r.events().begin(), r.events().end());
        });
        ASSERT_EQ(rfs_add_disk(0, path.c_str(), 0, 0, nullptr), 0);
        uint8_t chn[2] = {0xFF, 0xFF};
        RfsSearchParam p{};
        p.search_type = 3;
        p.chnCnt = kRepairChannels;
        p.record_type = ~0ull;
        p.chnBit = chn;
        p.start = dt(rec::t("2026-03-01 00:00:00"));
        p.end = dt(rec::t("2026-03-01 23:59:59"));
        handle_ = rfs_find_start(&p, nullptr, 0);
        ASSERT_GE(handle_, 0);
    }
    // Segments as (start, duration).
    std::vector<std::pair<rec::PackedTime, uint32_t>> oneday(const uint8_t *mask, int min_gap) {
        MoareaResult out{};
        EXPECT_EQ(rfs_read_moarea_oneday(handle_, 2, mask, min_gap, &out), 0);
        std::vector<std::pair<rec::PackedTime, uint32_t>> got;
        for (int i = 0; i < out.count; ++i) got.emplace_back(rfs::pack_time(out.segments[i].start), out.segments[i].duration);
        rfs_read_moarea_stop(&out);
        EXPECT_EQ(out.segments, nullptr);
        return got;
    }
    int handle_ = -1;
    std::vector<rec::EventTruth> truth_;
};

} // namespace

TEST_F(MotionTest, SegmentsForMasksMatchingAllSomeAndNoCells) {
    uint8_t all[72], none[72] = {};
    std::memset(all, 0xFF, sizeof all);
    using Seg = std::pair<rec::PackedTime, uint32_t>;
    // Every record matches: one segment per event, never joined across them.
    EXPECT_EQ(oneday(all, 1), (std::vector<Seg>{{rec::t("2026-03-01 10:00:00"), 21}, {rec::t("2026-03-01 10:00:21"), 10}}));
    EXPECT_EQ(oneday(none, 1), std::vector<Seg>{});
    // The cells of one moment: the records that share one of them, merged
    // where they lie within min_gap seconds of each other.
    const rec::PackedTime t0 = rec::t("2026-03-01 10:00:05");
    const auto cells = rec::motion_cells(2, t0);
    for (int gap : {0, 3}) {
        std::vector<Seg> want;
        for (const rec::EventTruth &ev : truth_) {
            int64_t last = 0;
            for (rec::PackedTime t : ev.motion) {
                auto c = rec::motion_cells(2, t);
                bool hit = false;
                for (int j = 0; j < 72; ++j) hit |= (c[j] & cells[j]) != 0;
                int64_t s = rec::packed_to_unix(t);
                if (!hit || s <= last) continue;
                if (s > last + gap) want.push_back({t, 1});
                else want.back().second += uint32_t(s - last);
                last = s;
            }
        }
        ASSERT_FALSE(want.empty());
        EXPECT_EQ(oneday(cells.data(), gap), want) << gap;
    }

    // One event; a range beyond the motion area is not read.
    RfsEventList list{};
    ASSERT_EQ(rfs_get_event(uint32_t(handle_), 2, &list), 0);
    RfsEvent ev = list.list[1];
    MoareaResult out{};
    ASSERT_EQ(rfs_read_moarea(all, &ev, 1, &out), 0);
    EXPECT_EQ(out.count, 1);
    EXPECT_EQ(out.segments[0].duration, 10u);
    rfs_read_moarea_stop(&out);
    ev.stored_word56 = 0x7FFFFFF0;
    ASSERT_EQ(rfs_read_moarea(all, &ev, 1, &out), 0);
    EXPECT_EQ(out.count, 0);
    EXPECT_TRUE(log_.contains("write moarea err, range("));
}

// Partition ranges (5, 9), (0, 20), (7, 12) in scan order: the two forms
// differ in how the empty partition counts.
TEST_F(RepairTest, TimeRangeOverDisksAndChannelPresence) {
    RfsDateTime s{}, e{};
    EXPECT_EQ(rfs_get_start_end_time(&s, &e), 0);
    EXPECT_EQ(rfs::pack_time(s) | rfs::pack_time(e), 0u);

    const rec::PackedTime t0 = rec::t("2026-03-01 10:00:00");
    for (int d = 0; d < 2; ++d) {
        std::string path = make_disk(small_disk(3), [&](rec::Recorder &r) {
            r.record(9, t0 + uint32_t(d) * (1u << 17), t0 + uint32_t(d) * (1u << 17) + 30, rec::kTimed);
            if (d == 1) r.record(3, t0 + (1u << 17) + 40, t0 + (1u << 17) + 50, rec::kTimed, {.skip_flag = 1});
        }, "t" + std::to_string(d));
        ASSERT_EQ(rfs_add_disk(d, path.c_str(), 0, 0, nullptr), 0);
    }
    ASSERT_EQ(rfs_get_start_end_time(&s, &e), 0);
    EXPECT_EQ(std::pair(rfs::pack_time(s), rfs::pack_time(e)), std::pair(t0, t0 + (1u << 17) + 30));

    // Channel 9 recorded on both days; channel 3's event is left out of
    // every search (skip_flag 1); a span with nothing sets nothing.
    struct Span { rec::PackedTime from, to; std::vector<uint8_t> want; };
    for (const Span &q : {Span{t0, t0 + (2u << 17), {0x00, 0x02}}, Span{t0 + 31, t0 + 40, {0, 0}},
                          Span{t0 + 40, t0, {0, 0}}}) {
        std::vector<uint8_t> bits(2, 0);
        EXPECT_EQ(rfs_is_chn_have_record(bits.data(), dt(q.from), dt(q.to)), 0);
        EXPECT_EQ(bits, q.want);
    }
    std::vector<uint8_t> kept = {0x01, 0x00};
    EXPECT_EQ(rfs_is_chn_have_record(kept.data(), dt(t0), dt(t0)), 0);
    EXPECT_EQ(kept, (std::vector<uint8_t>{0x01, 0x02}));

    rfs::disk_info_t *d = rfs::pg_disk_list[0];
    const uint32_t ranges[3][2] = {{5, 9}, {0, 20}, {7, 12}};
    for (int p = 0; p < 3; ++p) {
        d->partition[p].set_record_start(ranges[p][0]);
        d->partition[p].set_record_end(ranges[p][1]);
    }
    rfs_remove_disk(1);
    ASSERT_EQ(rfs_get_start_end_time(&s, &e), 0);
    EXPECT_EQ(std::pair(rfs::pack_time(s), rfs::pack_time(e)), std::pair(5u, 12u));
    ASSERT_EQ(get_disk_time(&s, &e), 0);
    EXPECT_EQ(std::pair(rfs::pack_time(s), rfs::pack_time(e)), std::pair(7u, 20u));
}
