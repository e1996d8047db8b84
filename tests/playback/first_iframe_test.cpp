// The first key frame of a channel in a time span, delivered whole into a
// buffer the library allocates or the host's own.
#include "playback_fixture.h"

#include <cstdlib>

namespace {

// The stored bytes of a key frame, its reference frame first when it has one.
std::vector<uint8_t> frame_bytes(const std::vector<uint8_t> &stream, const rec::EventTruth &ev, const rec::KeyFrame &k) {
    std::vector<uint8_t> out;
    auto part = [&](uint32_t off, uint32_t len) {
        out.insert(out.end(), stream.begin() + (off - ev.data_start), stream.begin() + (off - ev.data_start + len));
    };
    if (k.ref_offset != k.offset) part(k.ref_offset, k.ref_length);
    part(k.offset, k.length);
    return out;
}

} // namespace

TEST_F(PlaybackTest, FirstKeyFrameWithAndWithoutReferenceFrame) {
    for (int ref_every : {0, 3}) {
        SCOPED_TRACE(ref_every);
        rec::Recorder &r = recorder(ref_every == 3); // NAS with reference frames
        rec::RecordOptions o{.fps = 10, .key_interval = 20, .key_bytes = 3000, .p_bytes = 300, .ref_every = ref_every};
        const rec::EventTruth &ev = *r.record(3, rec::t("2026-03-01 10:00:00"), rec::t("2026-03-01 10:05:00"), rec::kTimed, o).front();
        mount();
        const std::vector<uint8_t> stream = rec_->stream(ev);
        // 10:01:01 falls between key frames: the one at 10:01:02 comes back.
        const rec::KeyFrame &k = ev.kframes[31];
        ASSERT_EQ(k.time, rec::t("2026-03-01 10:01:02"));
        void *buf = nullptr;
        int len = 0;
        LogCapture log;
        ASSERT_EQ(rfs_get_first_iframe(3, dt(rec::t("2026-03-01 10:01:01")), dt(rec::t("2026-03-01 10:02:00")), &buf, &len), 0);
        std::vector<uint8_t> got(static_cast<uint8_t *>(buf), static_cast<uint8_t *>(buf) + len);
        EXPECT_EQ(got, frame_bytes(stream, ev, k));
        std::free(buf);
        // The event's first key frame for a span starting before it; the
        // host's buffer, one byte short and then big enough.
        const std::vector<uint8_t> first = frame_bytes(stream, ev, ev.kframes[0]);
        std::vector<uint8_t> mine(first.size() - 1, 0xAB);
        buf = mine.data();
        len = int(mine.size());
        EXPECT_EQ(rfs_get_first_iframe(3, dt(rec::t("2026-03-01 09:00:00")), dt(rec::t("2026-03-01 10:00:00")), &buf, &len), -1);
        EXPECT_EQ(len, 0);
        EXPECT_EQ(mine, std::vector<uint8_t>(first.size() - 1, 0xAB));
        mine.resize(first.size() + 10);
        buf = mine.data();
        len = int(mine.size());
        ASSERT_EQ(rfs_get_first_iframe(3, dt(rec::t("2026-03-01 09:00:00")), dt(rec::t("2026-03-01 10:00:00")), &buf, &len), 0);
        EXPECT_EQ(std::vector<uint8_t>(mine.begin(), mine.begin() + len), first);
        EXPECT_EQ(log.count("g_slice_handle="), 1); // one search served the day

        // Refusals: an inverted span, a channel out of range, no recording.
        buf = nullptr;
        EXPECT_EQ(rfs_get_first_iframe(3, dt(rec::t("2026-03-01 10:00:01")), dt(rec::t("2026-03-01 10:00:00")), &buf, &len), -1);
        EXPECT_TRUE(log.contains("chn3,start_time="));
        EXPECT_EQ(rfs_get_first_iframe(16, dt(rec::t("2026-03-01 10:00:00")), dt(rec::t("2026-03-01 10:00:00")), &buf, &len), -1);
        EXPECT_EQ(rfs_get_first_iframe(3, dt(rec::t("2026-03-01 10:05:01")), dt(rec::t("2026-03-01 11:00:00")), &buf, &len), -1);
        EXPECT_EQ(rfs_get_first_iframe(2, dt(rec::t("2026-03-02 10:00:00")), dt(rec::t("2026-03-02 11:00:00")), &buf, &len), -1);
        EXPECT_EQ(buf, nullptr);
        TearDown();
        SetUp();
    }
}

// The lookup's private search is its own only while its session is: once
// the host stopped it, or rfs_exit freed it, the handle serves other
// searches, and a lookup on another channel leaves them alone. The private
// search is of channel 5, which has no recording: its list, like the one the
// next search of the session has for that channel, is null.
TEST_F(PlaybackTest, FirstKeyFrameLeavesOtherSearchesAlone) {
    rec::Recorder &r = recorder(false);
    for (int chn : {3, 4}) r.record(chn, rec::t("2026-03-01 10:00:00"), rec::t("2026-03-01 10:01:00"), rec::kTimed);
    mount();
    uint8_t channel3[2] = {0x08, 0};
    RfsSearchParam p{};
    p.search_type = 3;
    p.chnCnt = 16;
    p.record_type = 0xFFFFFFFFull;
    p.chnBit = channel3;
    p.start = dt(rec::t("2026-03-01 00:00:00"));
    p.end = dt(rec::t("2026-03-01 23:59:59"));
    auto lookup = [](int chn) {
        void *buf = nullptr;
        int len = 0;
        int rc = rfs_get_first_iframe(chn, dt(rec::t("2026-03-01 10:00:00")), dt(rec::t("2026-03-01 10:00:30")), &buf, &len);
        std::free(buf);
        return rc;
    };
    for (bool restart : {false, true}) {
        SCOPED_TRACE(restart);
        ASSERT_EQ(lookup(5), -1);
        const int taken = handle_ + 1; // the private search took the next session
        if (restart) {
            rfs_exit();
            ASSERT_EQ(rfs_init(16, 1), 0);
            handle_ = rfs_find_start(&p, nullptr, 0); // the fixture's search goes with the tables
        } else {
            rfs_find_stop(uint32_t(taken));
        }
        const int h = rfs_find_start(&p, nullptr, 0); // what the private search had, its list too
        ASSERT_EQ(h, restart ? handle_ + 1 : taken);
        ASSERT_EQ(lookup(4), 0);
        RfsEventList list{};
        EXPECT_EQ(rfs_get_event(uint32_t(h), 3, &list), 0);
        EXPECT_EQ(list.count, 1);
        rfs_find_stop(uint32_t(h));
    }
}
