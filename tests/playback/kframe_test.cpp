// Key frame by key frame, and the reference frames that come first.
#include <cstring>

#include "fault_storage.h"
#include "playback_fixture.h"
#include "support/log_capture.h"

namespace {

bool same_time(const RfsDateTime &a, const RfsDateTime &b) { return std::memcmp(&a, &b, 8) == 0; }

} // namespace

// Every third key frame is a 'J' with a new 'V' reference frame before it;
// the 'K' frames between point back at the latest 'V'.
TEST_F(PlaybackTest, ReferenceFramesComeFirstWithTheirTime) {
    rec::RecordOptions o;
    o.ref_every = 3;
    const rec::EventTruth &ev = record_one(7, "2026-03-01 12:00:00", "2026-03-01 12:00:30", o);
    const std::vector<rec::KeyFrame> &kf = ev.kframes;
    ASSERT_EQ(kf[4].ref_offset, kf[3].ref_offset);
    RfsEvent e = listed(ev);
    int rd = rfs_read_start(7);
    std::vector<uint8_t> buf(65536);
    unsigned skip = 0;
    RfsDateTime ft{}, at = dt(kf[4].time);

    ASSERT_EQ(rfs_tseek(rd, &at, 1, 0, &e, 0), 0);
    int n = rfs_read(rd, buf.data(), 65536, &skip, &ft);
    ASSERT_GT(n, 0);
    EXPECT_TRUE(std::vector<uint8_t>(buf.begin() + skip, buf.begin() + n) ==
                stored(ev, kf[4].ref_offset, (kf[4].ref_length + 7) & ~7u));
    EXPECT_TRUE(same_time(ft, dt(kf[4].time)));
    n = rfs_read(rd, buf.data(), 65536, &skip, &ft);
    EXPECT_EQ(skip, kf[4].offset % 4096);
    EXPECT_TRUE(std::vector<uint8_t>(buf.begin() + skip, buf.begin() + skip + kf[4].length) ==
                stored(ev, kf[4].offset, kf[4].length));
    EXPECT_TRUE(same_time(ft, RfsDateTime{}));

    // (call: +1 next, -1 previous, 0 current; key frame; its reference frame?)
    struct Step {
        int call, kf;
        bool ref;
    } steps[] = {{1, 5, true}, {1, 5, false}, {1, 6, true}, {1, 6, false}, {1, 7, false},
                 {-1, 6, false}, {-1, 5, true}, {-1, 5, false}, {0, 5, false}};
    ASSERT_EQ(rfs_tseek(rd, &at, 1, 0, &e, 0), 0);
    for (const Step &s : steps) {
        SCOPED_TRACE(testing::Message() << "call " << s.call << " to " << s.kf);
        n = s.call > 0   ? rfs_get_next_kframe(rd, buf.data(), 65536, &skip, 1, &ft)
            : s.call < 0 ? rfs_get_prev_kframe(rd, buf.data(), 65536, &skip, 1, &ft)
                         : rfs_get_current_kframe(rd, buf.data(), 65536, &skip, &ft);
        const rec::KeyFrame &k = kf[size_t(s.kf)];
        uint32_t pos = s.ref ? k.ref_offset : k.offset, len = s.ref ? k.ref_length : k.length;
        ASSERT_EQ(n, int(skip + len));
        EXPECT_TRUE(std::vector<uint8_t>(buf.begin() + skip, buf.begin() + n) == stored(ev, pos, len));
        EXPECT_TRUE(same_time(ft, s.ref ? dt(k.time) : RfsDateTime{}));
    }
}

// One key frame a second: 301 index entries over three 128-entry blocks. A
// step reads its frame, plus the index block when it crosses into another.
TEST_F(PlaybackTest, KeyFrameStepsCrossIndexBlocks) {
    rec::RecordOptions o;
    o.fps = 1;
    o.key_interval = 1;
    o.key_bytes = 200;
    const rec::EventTruth &ev = record_one(8, "2026-03-01 12:00:00", "2026-03-01 12:05:00", o);
    const std::vector<rec::KeyFrame> &kf = ev.kframes;
    ASSERT_EQ(kf.size(), 301u);
    RfsEvent e = listed(ev);
    int rd = rfs_read_start(8);
    ASSERT_EQ(rfs_tseek(rd, &e.start, 1, 0, &e, 0), 0);
    std::vector<uint8_t> buf(8192);
    unsigned skip = 0;
    RfsDateTime ft{};
    auto walk = [&](int from, int to, int step) {
        uint64_t reads = rfs_host::fault_counts().reads, expected = 0;
        int at = from;
        for (int i = from + step; step > 0 ? i <= to : i >= to; i += step) {
            int n = step > 0 ? rfs_get_next_kframe(rd, buf.data(), 8192, &skip, step, &ft)
                             : rfs_get_prev_kframe(rd, buf.data(), 8192, &skip, -step, &ft);
            const rec::KeyFrame &k = kf[size_t(i)];
            ASSERT_EQ(n, int(skip + k.length)) << i;
            ASSERT_TRUE(std::vector<uint8_t>(buf.begin() + skip, buf.begin() + n) ==
                        stored(ev, k.offset, k.length)) << i;
            expected += 1 + (k.entry_pos / 4096 != kf[size_t(at)].entry_pos / 4096);
            at = i;
        }
        EXPECT_EQ(rfs_host::fault_counts().reads - reads, expected);
        LogCapture log;
        int n = step > 0 ? rfs_get_next_kframe(rd, buf.data(), 8192, &skip, step, &ft)
                         : rfs_get_prev_kframe(rd, buf.data(), 8192, &skip, -step, &ft);
        EXPECT_EQ(n, 0);
        EXPECT_TRUE(log.contains("chn8 read kf end!"));
    };
    walk(0, 300, 1);
    ASSERT_EQ(rfs_get_prev_kframe(rd, buf.data(), 8192, &skip, 1, &ft), int(skip + kf[300].length));
    walk(300, 6, -7);
}
