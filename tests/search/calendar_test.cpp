// Month calendars of recordings and pictures and the day timeline, against
// what the recorder wrote, on raw and NAS disks; malformed PicMon_ blocks.
#include "disk/layout.h"
#include "frame/bytes.h"
#include "geometry.h"
#include "search_fixture.h"

namespace {

constexpr uint64_t kHigh = 1ull << 40;

// Channel 3's recording starts on the last seconds of March; channel 7's
// crosses midnight. Channel 4's day mask also sets bit 31, which names no
// day; channel 6's stored end has hour 31.
void months(rec::Recorder &r) {
    record(r, 0, "2024-02-29 10:00:00", "2024-02-29 10:00:10", rec::kTimed);
    record(r, 1, "2026-02-28 09:00:00", "2026-02-28 09:00:10", rec::kMotion);
    record(r, 2, "2026-04-30 08:00:00", "2026-04-30 08:00:10", rec::kAlarm);
    record(r, 3, "2026-03-31 23:59:50", "2026-04-01 00:00:10", rec::kTimed);
    record(r, 5, "2026-03-15 09:10:00", "2026-03-15 10:05:00", kHigh | rec::kAlarm);
    record(r, 7, "2026-03-14 23:50:00", "2026-03-15 00:20:00", rec::kMotion);
    record(r, 4, "2026-03-10 10:00:00", "2026-03-10 10:00:10", rec::kTimed);
    const rec::EventTruth &four = r.events().back();
    std::vector<uint8_t> word(4);
    rfs::store_le32(word.data(), 1u << 31 | 1u << 9);
    for (int k = 0; k < 4; ++k) r.damage_index_copy(four.partition, k, rec::kFileTableOffset + rfs::index_file_info::kSize * (four.file_no - 1) + rfs::index_file_info::kDayMap, word);
    record(r, 6, "2026-03-20 10:00:00", "2026-03-20 10:00:10", rec::kTimed);
    const rec::EventTruth &six = r.events().back();
    const rec::Geometry &g = r.geometry();
    rfs::store_le32(word.data(), at("2026-03-20 00:00:00") | 31u << 12);
    r.damage_index_copy(0, 0, g.event_area_off + g.event_table_size * (six.file_no - 1) + 64 * (six.event_no - 1) + 40, word);
}

// The recorder's day map repeats words 0..31 in 32..63 and puts bit 31 and
// every high bit in words 31 and 63: a type's calendar mask.
constexpr uint64_t mask(uint64_t type) {
    uint64_t m = 0;
    for (int b = 0; b < 31; ++b)
        if (type >> b & 1) m |= 1ull << b | 1ull << (b + 32);
    return type >> 31 ? m | 1ull << 31 | 1ull << 63 : m;
}

} // namespace

class CalendarTest : public SearchTest, public ::testing::WithParamInterface<bool> {
  protected:
    void mount_months() {
        make_disk(headers_only(1, GetParam()), months, "a");
        rfs_set_nas_mode(GetParam());
        mount(0, "a");
    }
};
INSTANTIATE_TEST_SUITE_P(RawAndNas, CalendarTest, ::testing::Bool());

TEST_P(CalendarTest, RecordDaysByTypeAndChannel) {
    mount_months();
    static uint8_t only_7[1] = {0x80};
    // (month, record_type, channels, day entry -> types, channel -> day bits)
    struct Case { const char *month; uint64_t types; uint8_t *channels; std::map<int, uint64_t> days; std::map<int, uint32_t> channel_days; } cases[] = {
        {"2024-02", ~0ull, nullptr, {{28, mask(rec::kTimed)}}, {{0, 1u << 29}}},
        {"2026-02", ~0ull, nullptr, {{27, mask(rec::kMotion)}}, {{1, 1u << 28}}},
        // channel 3's file started in March: April shows only channel 2
        {"2026-04", ~0ull, nullptr, {{29, mask(rec::kAlarm)}}, {{2, 1u << 30}}},
        {"2026-03", ~0ull, nullptr,
         {{9, mask(rec::kTimed)}, {13, mask(rec::kMotion)}, {14, mask(kHigh | rec::kAlarm)}, {19, mask(rec::kTimed)}, {30, mask(rec::kTimed)}},
         {{3, 1u << 31}, {4, 1u << 10}, {5, 1u << 15}, {6, 1u << 20}, {7, 1u << 14}}},
        // bit 1 admits types 1 and 33; bits 31 and 33 admit types 31 and 63
        {"2026-03", rec::kMotion, nullptr, {{13, mask(rec::kMotion)}}, {{7, 1u << 14}}},
        {"2026-03", 1ull << 33, nullptr, {{14, mask(kHigh)}}, {{5, 1u << 15}}},
        {"2026-03", 1ull << 31, nullptr, {{14, mask(kHigh)}}, {{5, 1u << 15}}},
        {"2026-03", rec::kAlarm, nullptr, {{14, mask(rec::kAlarm)}}, {{5, 1u << 15}}},
        {"2026-03", ~0ull, only_7, {{13, mask(rec::kMotion)}}, {{7, 1u << 14}}},
        {"2026-13", ~0ull, nullptr, {}, {}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << c.month << " " << std::hex << c.types);
        RfsSearchParam p = month(c.month, 0);
        p.record_type = c.types;
        if (c.channels) p.chnBit = c.channels;
        testing::internal::CaptureStdout();
        RfsMonthResult m = calendar(p);
        EXPECT_EQ(testing::internal::GetCapturedStdout().find("err, invalid month!") != std::string::npos, c.days.empty());
        for (int d = 0; d < 31; ++d) EXPECT_EQ(m.day_types[d], c.days.count(d) ? c.days.at(d) : 0) << d;
        for (int ch = 0; ch < 512; ++ch)
            EXPECT_EQ(m.channel_days[ch], c.channel_days.count(ch) ? c.channel_days.at(ch) : 0) << ch;
    }
    RfsSearchParam p = month("2026-03", 0);
    EXPECT_EQ(rfs_find_start(&p, nullptr, 0), RFS_ERR_NULL);
}

// Slots of a half hour by hour and minute only; events are clipped to the
// day; the host's buffer is never cleared, so two days accumulate. A stored
// end at hour 31, inside a range of two days, ends at the last slot.
TEST_P(CalendarTest, TimelineClipsAndAccumulates) {
    mount_months();
    struct { RfsDaySlots slots; uint32_t guard[16]; } out{};
    // 09:10 to 10:05 touches slots 18, 19 and 20; only the low type word counts
    struct Case { RfsSearchParam p; std::map<int, uint32_t> slots; } cases[] = {
        {day("2026-03-14", 1), {{47, uint32_t(rec::kMotion)}}},
        {day("2026-03-15", 1), {{0, uint32_t(rec::kMotion)}, {18, uint32_t(rec::kAlarm)}, {19, uint32_t(rec::kAlarm)},
                                {20, uint32_t(rec::kAlarm)}, {47, uint32_t(rec::kMotion)}}},
        {range("2026-03-20 00:00:00", "2026-03-21 00:00:00", 1), {}},
    };
    for (int s = 20; s < 48; ++s) cases[2].slots[s] = uint32_t(rec::kTimed);
    for (Case &c : cases) {
        if (&c == &cases[2]) out = {};
        ASSERT_EQ(rfs_find_start(&c.p, &out.slots, 0), RFS_NO_SESSION_HANDLE);
        for (int s = 0; s < 48; ++s) EXPECT_EQ(out.slots.slot[s], c.slots.count(s) ? c.slots[s] : 0u) << s;
    }
    for (uint32_t g : out.guard) EXPECT_EQ(g, 0u);
}

// A picture file's days come from its PicMon_ table. A file whose days are
// all marked already is not read, and once every day of the month is marked
// the calendar stops: file B (day 1 and the next month) is read only when
// file A left a day of the month unmarked.
TEST_P(CalendarTest, PictureDaysAndMonthLengths) {
    rfs_set_nas_mode(GetParam());
    struct Case { const char *month; int days, marked; bool b_read; } cases[] = {
        {"2026-02", 28, 28, false}, {"2026-02", 28, 27, true}, {"2024-02", 29, 29, false},
        {"2024-02", 29, 28, true},  {"2026-04", 30, 30, false}, {"2026-04", 30, 29, true},
        {"2026-03", 31, 31, true}, // a day byte of 31 marks nothing
    };
    int n = 0;
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << c.month << " " << c.marked);
        std::string name = "p" + std::to_string(n++), first = std::string(c.month) + "-01 12:00:00";
        rec::PictureTruth b{};
        const Disk &d = make_disk(headers_only(1, GetParam()), [&](rec::Recorder &r) {
            for (int day = 1; day <= c.marked; ++day) r.snapshot(2, rec::add_seconds(at(first), 86400 * (day - 1)), 100);
            r.close_picture_file();
            r.snapshot(3, at(first), 100);
            b = r.snapshot(3, rec::add_seconds(at(first), 86400 * c.days), 100);
        }, name);
        mount(0, name);
        int64_t block = GetParam() ? 0x1000 : int64_t(d.geometry.data_file_base(b.partition, b.file_no)) + 0x1000;
        std::string file = GetParam() ? "/file" + std::to_string(b.file_no - 1) : "";
        rfs_host::fault_add({.file = file, .from = block, .to = block + 1});
        log_.clear();
        RfsMonthResult m = calendar(month(c.month, 1));
        EXPECT_EQ(log_.contains("err,cnt:-1"), c.b_read);
        for (int e = 0; e < 31; ++e) EXPECT_EQ(m.day_types[e], e >= 1 && e <= std::min(c.marked, 30) ? 1u : 0u) << e;
        rfs_host::fault_clear_rules();
        rfs_remove_disk(0);
    }
}

// A PicMon_ table longer than one 512 KiB buffer is read on in the next one;
// a block whose offset, entry size or count leaves its buffer is refused
// (or bounded) without reading outside it.
TEST_F(SearchTest, PictureMonthTableAcrossBuffersAndMalformedBlocks) {
    constexpr int kPictures = 33000; // the first buffer holds 32510 entries
    const Disk &d = make_disk(headers_only(1), [](rec::Recorder &r) {
        for (int i = 0; i < kPictures; ++i) {
            const char *day = i < 32600 ? "2026-03-03 00:00:00" : i < kPictures - 2 ? "2026-03-09 00:00:00" : "2026-03-12 00:00:00";
            r.snapshot(1, rec::add_seconds(at(day), i % 3600), 1);
        }
    }, "big");
    const uint64_t block = d.geometry.data_file_base(0, 1) + 0x1000;
    struct Case { uint32_t field, value; std::vector<int> days; bool refused; } cases[] = {
        {0, 0, {3, 9, 12}, false},           // as the recorder wrote it
        {12, 0xFFFFFFFF, {3, 9, 12}, false}, // a count beyond the table: 16 buffers at most
        {24, 0x800, {}, true},               // table before the block
        {24, 0x90000, {}, true},             // table beyond the first buffer
        {28, 2, {}, true},                   // entries too small for a date
        {28, 0x80001, {}, true},             // one entry larger than a buffer
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << c.field << " " << c.value);
        uint32_t stored = c.field ? poke(tmp_.file("big"), block + c.field, c.value) : 0;
        mount(0, "big");
        log_.clear();
        RfsMonthResult m = calendar(month("2026-03", 1));
        for (int e = 0; e < 31; ++e) EXPECT_EQ(m.day_types[e], std::count(c.days.begin(), c.days.end(), e) ? 1u : 0u) << e;
        EXPECT_EQ(log_.contains("pic_mon_offset="), c.refused);
        rfs_remove_disk(0);
        if (c.field) poke(tmp_.file("big"), block + c.field, stored);
    }
}
