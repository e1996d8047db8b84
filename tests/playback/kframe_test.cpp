// Key frame by key frame, and the reference frames that come first.
#include "playback_fixture.h"

// Every third key frame is a 'J' with a new 'V' reference frame before it;
// the 'K' frames between point back at the latest 'V'.
TEST_F(PlaybackTest, ReferenceFramesComeFirstWithTheirTime) {
    // 4005 is not a multiple of 8: stored with 3 bytes of padding
    const rec::EventTruth &ev = record_one(7, "2026-03-01 12:00:00", "2026-03-01 12:00:30", {.ref_bytes = 4005, .ref_every = 3});
    const std::vector<rec::KeyFrame> &kf = ev.kframes;
    ASSERT_EQ(kf[4].ref_offset, kf[3].ref_offset);
    RfsEvent e = listed(ev);
    int rd = rfs_read_start(7);
    RfsDateTime at = dt(kf[4].time);
    // rfs_read: the (8-byte padded) reference frame with its time, then the key frame.
    ASSERT_EQ(rfs_tseek(rd, &at, 1, 0, &e, 0), 0);
    int n = rfs_read(rd, buf_.data(), 65536, &skip_, &ft_);
    ASSERT_GT(n, int(skip_));
    EXPECT_TRUE(delivered(n) == stored(ev, kf[4].ref_offset, (kf[4].ref_length + 7) & ~7u));
    EXPECT_TRUE(same_time(ft_, at));
    n = rfs_read(rd, buf_.data(), 65536, &skip_, &ft_);
    EXPECT_EQ(skip_, kf[4].offset % 4096);
    EXPECT_TRUE(delivered(int(skip_ + kf[4].length)) == stored(ev, kf[4].offset, kf[4].length));
    EXPECT_TRUE(same_time(ft_, RfsDateTime{}));
    // The key-frame calls: a frame with a new reference takes two calls.
    // (call: +1 next, -1 previous, 0 current; key frame; its reference frame?)
    // The first sequence starts with "next" after the seek, the second with
    // "current", which settles on the chosen key frame, reference frame first
    // (and again, while only "current" follows).
    struct Step { int call, kf; bool ref; };
    const std::vector<Step> after_next = {
        {1, 5, true}, {1, 5, false}, {1, 6, true}, {1, 6, false}, {1, 7, false},
        {-1, 6, false}, {-1, 5, true}, {-1, 5, false}, {0, 5, false}};
    const std::vector<Step> after_current = {
        {0, 4, true}, {0, 4, true}, {1, 4, false}, {1, 5, false}, {1, 6, true}, {1, 6, false}};
    for (const std::vector<Step> *steps : {&after_next, &after_current})
    for (const Step &s : *steps) {
        if (&s == &steps->front()) { ASSERT_EQ(rfs_tseek(rd, &at, 1, 0, &e, 0), 0); }
        SCOPED_TRACE(testing::Message() << "call " << s.call << " to " << s.kf);
        n = s.call > 0   ? rfs_get_next_kframe(rd, buf_.data(), 65536, &skip_, 1, &ft_)
            : s.call < 0 ? rfs_get_prev_kframe(rd, buf_.data(), 65536, &skip_, 1, &ft_)
                         : rfs_get_current_kframe(rd, buf_.data(), 65536, &skip_, &ft_);
        const rec::KeyFrame &k = kf[size_t(s.kf)];
        uint32_t pos = s.ref ? k.ref_offset : k.offset, len = s.ref ? k.ref_length : k.length;
        ASSERT_EQ(n, int(skip_ + len));
        EXPECT_TRUE(delivered(n) == stored(ev, pos, len));
        EXPECT_TRUE(same_time(ft_, s.ref ? dt(k.time) : RfsDateTime{}));
    }
}

// One key frame a second: 301 index entries over three 128-entry blocks. A
// step reads its frame, plus the index block when it crosses into another,
// toward newer frames and toward older ones.
TEST_F(PlaybackTest, KeyFrameStepsCrossIndexBlocks) {
    const rec::EventTruth &ev = record_one(8, "2026-03-01 12:00:00", "2026-03-01 12:05:00", {.fps = 1, .key_interval = 1, .key_bytes = 200});
    const std::vector<rec::KeyFrame> &kf = ev.kframes;
    ASSERT_EQ(kf.size(), 301u);
    RfsEvent e = listed(ev);
    int rd = rfs_read_start(8);
    ASSERT_EQ(rfs_tseek(rd, &e.start, 1, 0, &e, 0), 0);
    auto step = [&](int by) {
        return by > 0 ? rfs_get_next_kframe(rd, buf_.data(), 8192, &skip_, by, &ft_)
                      : rfs_get_prev_kframe(rd, buf_.data(), 8192, &skip_, -by, &ft_);
    };
    auto walk = [&](int from, int to, int by) {
        uint64_t reads = rfs_host::fault_counts().reads, expected = 0;
        for (int i = from + by; by > 0 ? i <= to : i >= to; i += by) {
            const rec::KeyFrame &k = kf[size_t(i)];
            int n = step(by);
            ASSERT_EQ(n, int(skip_ + k.length)) << i;
            ASSERT_TRUE(delivered(n) == stored(ev, k.offset, k.length)) << i;
            expected += 1 + (k.entry_pos / 4096 != kf[size_t(i - by)].entry_pos / 4096);
        }
        EXPECT_EQ(rfs_host::fault_counts().reads - reads, expected);
        expect_codes({{"past the last", [&] { return step(by); }, 0, "chn8 read kf end!"}});
    };
    walk(0, 300, 1);
    ASSERT_EQ(step(-1), int(skip_ + kf[300].length));
    walk(300, 6, -7);
    // One at a time toward older frames: each block is left from its last
    // entry to the first of the next.
    ASSERT_EQ(rfs_tseek(rd, &e.end, 1, 0, &e, 0), 0);
    walk(300, 0, -1);
    // The tail check leaves the newest key frame's block in the cache, so the
    // oldest key frame the seek chose needs its own block read again.
    ASSERT_EQ(rfs_tseek(rd, &e.start, 1, 0, &e, 1), 0);
    uint64_t reads = rfs_host::fault_counts().reads;
    int n = rfs_get_current_kframe(rd, buf_.data(), 8192, &skip_, &ft_);
    ASSERT_EQ(n, int(skip_ + kf[0].length));
    EXPECT_EQ(rfs_host::fault_counts().reads - reads, 2u);
}
