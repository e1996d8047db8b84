// The first key frame of a channel in a time span, delivered whole into a
// buffer the library allocates or the host's own.
#include <cstdlib>

#include "playback_fixture.h"

namespace {

int first_iframe(int chn, const char *from, const char *to, void **buf, int *len) {
    return rfs_get_first_iframe(chn, dt(rec::t(std::string("2026-03-01 ") + from)),
                                dt(rec::t(std::string("2026-03-01 ") + to)), buf, len);
}

} // namespace

TEST_F(PlaybackTest, FirstKeyFrameWithAndWithoutReferenceFrame) {
    for (int ref_every : {0, 3}) {
        SCOPED_TRACE(ref_every);
        rec::Recorder &r = recorder(ref_every == 3); // NAS with reference frames
        rec::RecordOptions o{.fps = 10, .key_interval = 20, .key_bytes = 3000, .p_bytes = 300, .ref_every = ref_every};
        const rec::EventTruth &ev = *r.record(3, rec::t("2026-03-01 10:00:00"), rec::t("2026-03-01 10:05:00"), rec::kTimed, o).front();
        mount();
        // The stored bytes of a key frame, its reference frame first when it has one.
        auto frame = [&](const rec::KeyFrame &k) {
            std::vector<uint8_t> out = k.ref_offset != k.offset ? stored(ev, k.ref_offset, k.ref_length) : std::vector<uint8_t>{};
            std::vector<uint8_t> key = stored(ev, k.offset, k.length);
            out.insert(out.end(), key.begin(), key.end());
            return out;
        };
        // 10:01:01 falls between key frames: the one at 10:01:02 comes back.
        ASSERT_EQ(ev.kframes[31].time, rec::t("2026-03-01 10:01:02"));
        void *buf = nullptr;
        int len = 0;
        ASSERT_EQ(first_iframe(3, "10:01:01", "10:02:00", &buf, &len), 0);
        EXPECT_EQ(std::vector<uint8_t>(static_cast<uint8_t *>(buf), static_cast<uint8_t *>(buf) + len), frame(ev.kframes[31]));
        std::free(buf);
        // The event's first key frame for a span starting before it; the
        // host's buffer, one byte short and then big enough.
        const std::vector<uint8_t> first = frame(ev.kframes[0]);
        std::vector<uint8_t> mine(first.size() - 1, 0xAB);
        buf = mine.data();
        len = int(mine.size());
        EXPECT_EQ(first_iframe(3, "09:00:00", "10:00:00", &buf, &len), -1);
        EXPECT_EQ(len, 0);
        EXPECT_EQ(mine, std::vector<uint8_t>(first.size() - 1, 0xAB));
        mine.resize(first.size() + 10);
        buf = mine.data();
        len = int(mine.size());
        ASSERT_EQ(first_iframe(3, "09:00:00", "10:00:00", &buf, &len), 0);
        EXPECT_EQ(std::vector<uint8_t>(mine.begin(), mine.begin() + len), first);
        EXPECT_EQ(log_.count("g_slice_handle="), 1); // one search served the day

        // Refusals: an inverted span, a channel out of range, no recording.
        buf = nullptr;
        EXPECT_EQ(first_iframe(3, "10:00:01", "10:00:00", &buf, &len), -1);
        EXPECT_TRUE(log_.contains("chn3,start_time="));
        EXPECT_EQ(first_iframe(16, "10:00:00", "10:00:00", &buf, &len), -1);
        EXPECT_EQ(first_iframe(3, "10:05:01", "11:00:00", &buf, &len), -1);
        EXPECT_EQ(first_iframe(2, "10:00:00", "11:00:00", &buf, &len), -1);
        EXPECT_EQ(buf, nullptr);
        TearDown();
        log_.clear();
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
    RfsSearchParam p = day("2026-03-01");
    p.chnBit = channel3;
    auto lookup = [](int chn) {
        void *buf = nullptr;
        int len = 0;
        int rc = first_iframe(chn, "10:00:00", "10:00:30", &buf, &len);
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

// A key frame's length comes from the index: the library allocates at most
// 16 MiB for one, while a host buffer of the frame's size takes any length
// the data file holds. The frame header stays valid in every row.
TEST_F(PlaybackTest, FirstKeyFrameAllocationIsCapped) {
    const rec::EventTruth &ev = record_one(3, "2026-03-01 10:00:00", "2026-03-01 10:01:00");
    const rec::KeyFrame &k = ev.kframes.front();
    const uint64_t entry = rec_->geometry().data_file_base(ev.partition, ev.file_no) + k.entry_pos;
    constexpr uint32_t kCap = 16u << 20;
    struct Row {
        uint32_t length;
        bool host_buffer;
        int rc;
    };
    for (const Row &row : {Row{kCap, false, 0}, Row{kCap + 1, false, -1}, Row{kCap + 1, true, 0}}) {
        SCOPED_TRACE(testing::Message() << row.length << (row.host_buffer ? " host" : " library"));
        poke(path_, entry + 12, row.length);
        std::vector<uint8_t> mine(row.host_buffer ? row.length : 0);
        void *buf = row.host_buffer ? mine.data() : nullptr;
        int len = int(mine.size());
        log_.clear();
        EXPECT_EQ(first_iframe(3, "09:00:00", "10:00:00", &buf, &len), row.rc);
        EXPECT_EQ(len, row.rc == 0 ? int(row.length) : 0);
        EXPECT_EQ(log_.contains("iframe length is too long!"), row.rc != 0);
        if (!row.host_buffer) {
            EXPECT_EQ(buf != nullptr, row.rc == 0);
            std::free(buf);
        }
    }
}
