// Whole events and their tails, streamed through rfs_read and compared byte
// for byte with what the recorder stored.
#include <tuple>

#include "playback_fixture.h"

// (NAS disk, reference frame every n key frames)
class StreamTest : public PlaybackTest, public ::testing::WithParamInterface<std::tuple<bool, int>> {};

// Two events of one channel share a data file, so the second starts off a
// 4 KB boundary; a seek into the middle starts at a key frame (or its
// reference frame) anywhere in a block.
TEST_P(StreamTest, DeliversTheStoredBytes) {
    // 4043 bytes with the header: 5 bytes of padding to 8
    rec::RecordOptions o{.ref_bytes = 4003, .ref_every = std::get<1>(GetParam())};
    rec::Recorder &r = recorder(std::get<0>(GetParam()));
    r.record(1, rec::t("2026-03-01 10:00:00"), rec::t("2026-03-01 10:00:40"), rec::kTimed, o);
    r.record(1, rec::t("2026-03-01 10:05:00"), rec::t("2026-03-01 10:05:30"), rec::kMotion, o);
    mount();
    ASSERT_EQ(r.events().size(), 2u);
    EXPECT_NE(r.events()[1].data_start % 4096, 0u);
    for (const rec::EventTruth &ev : r.events()) {
        RfsEvent e = listed(ev);
        const std::vector<uint8_t> all = r.stream(ev);
        const rec::KeyFrame &mid = ev.kframes[4];
        std::vector<uint8_t> from_mid;
        if (mid.ref_length) from_mid = stored(ev, mid.ref_offset, (mid.ref_length + 7) & ~7u);
        from_mid.insert(from_mid.end(), all.begin() + (mid.offset - ev.data_start), all.end());
        for (int len : {4096, 12288, 65536}) {
            SCOPED_TRACE(testing::Message() << "event " << ev.event_no << ", buffer " << len);
            int rd = rfs_read_start(1);
            RfsDateTime at = e.start;
            ASSERT_EQ(rfs_tseek(rd, &at, 1, 0, &e, 0), 0);
            EXPECT_TRUE(read_to_end(rd, len) == all);
            at = dt(mid.time);
            ASSERT_EQ(rfs_tseek(rd, &at, 1, 0, &e, 0), 0);
            EXPECT_TRUE(read_to_end(rd, len) == from_mid);
            rfs_read_stop(rd);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(RawAndNas, StreamTest,
                         ::testing::Combine(::testing::Bool(), ::testing::Values(0, 3)));

// 'P' frames after the closing key frame count in data_size; the tail check
// ends the readable data with the newest key frame.
TEST_F(PlaybackTest, TailCheckEndsWithTheNewestKeyFrame) {
    const rec::EventTruth &ev = record_one(2, "2026-03-01 11:00:00", "2026-03-01 11:00:20", {.tail_frames = 10});
    const rec::KeyFrame &newest = ev.kframes.back();
    std::vector<uint8_t> all = rec_->stream(ev);
    ASSERT_EQ(all.size(), ev.data_size);
    std::vector<uint8_t> trimmed(all.begin(), all.begin() + (newest.offset + newest.length - ev.data_start));
    ASSERT_LT(trimmed.size(), all.size());
    RfsEvent e = listed(ev);
    int rd = rfs_read_start(2);
    for (char check_tail : {0, 1}) {
        ASSERT_EQ(rfs_tseek(rd, &e.start, 1, 0, &e, check_tail), 0);
        EXPECT_TRUE(read_to_end(rd, 8192) == (check_tail ? trimmed : all)) << int(check_tail);
    }
}
