// Frames, key-frame index entries, reference frames and motion records.
#include <gtest/gtest.h>

#include "disk_view.h"

using namespace rectest;

namespace {

// Checks one closed event against the disk: its record, its stream bytes, its
// motion records, every key-frame entry inside its index range (oldest at the
// top, in time order) and the frame and reference frame each entry names.
// Plain key frames are 'I'; with reference frames every ref_every-th key frame
// is a 'J' right after a new 'V' padded to 8 bytes, the others are 'K' using
// the latest 'V'.
void check_event(const RawDisk& d, const rec::Recorder& r, const rec::EventTruth& ev) {
  SCOPED_TRACE("event " + std::to_string(ev.file_no) + "/" + std::to_string(ev.event_no));
  const auto s = d.event(ev.partition, ev.file_no, ev.event_no);
  const uint32_t top = le32(&s[12]), newest = le32(&s[48]);
  EXPECT_EQ(tag(s.data()), "Even");
  EXPECT_EQ(le16(&s[24]), ev.event_no);
  expect_words(s, {{4, ev.start}, {8, ev.data_start}, {12, ev.iframe_top},
                   {28, ev.moarea_start}, {40, ev.end}, {44, ev.data_size},
                   {48, ev.last_iframe_pos}, {56, ev.moarea_end}});
  ASSERT_EQ(ev.moarea_end - ev.moarea_start, 80 * ev.motion.size());
  const auto mo = d.data(ev.partition, ev.file_no, ev.moarea_start, 80 * ev.motion.size());
  for (size_t i = 0; i < ev.motion.size(); ++i) {
    const uint8_t* m = &mo[80 * i];  // second, minute, hour, day, month, year since 2000
    EXPECT_EQ(ev.motion[i], rec::add_seconds(ev.start, static_cast<int>(i) * ev.opts.motion_step));
    EXPECT_EQ(rec::pack_time(2000 + le16(m + 6), m[5], m[4], m[3], m[2], m[1]), ev.motion[i]);
    const auto cells = rec::motion_cells(ev.chn, ev.motion[i]);
    EXPECT_TRUE(std::equal(cells.begin(), cells.end(), m + 8));
  }
  const auto bytes = d.data(ev.partition, ev.file_no, ev.data_start, ev.stream_size);
  EXPECT_TRUE(bytes == r.stream(ev));
  ASSERT_FALSE(ev.kframes.empty());
  ASSERT_EQ((top - newest) / 32, ev.kframes.size());

  const auto entries = d.data(ev.partition, ev.file_no, newest, top - newest);
  uint32_t prev_time = ev.start, prev_ref = 0;
  for (size_t k = 0; k < ev.kframes.size(); ++k) {
    SCOPED_TRACE("key frame " + std::to_string(k));
    const uint8_t* e = &entries[top - newest - 32 * (k + 1)];
    const uint32_t time = le32(e + 4), off = le32(e + 8), len = le32(e + 12);
    const uint32_t ref = le32(e + 16), ref_len = le32(e + 20);
    EXPECT_GE(time, prev_time);
    prev_time = time;
    ASSERT_GE(ref, ev.data_start);
    ASSERT_LE(ref, off);
    ASSERT_LE(off + len, ev.data_start + ev.data_size);
    const uint8_t* h = &bytes[off - ev.data_start];
    EXPECT_EQ(tag(h), "QKFm");
    EXPECT_EQ(rec::unix_to_packed(static_cast<int64_t>(le64(h + 16)) / 1000000), time);
    const int n = ev.opts.ref_every;
    const char type = n == 0 ? 'I' : k % n ? 'K' : 'J';
    EXPECT_EQ(char(h[4]), type);
    EXPECT_EQ(ref_len == 0, type == 'I');
    EXPECT_EQ(char(bytes[ref - ev.data_start + 4]), type == 'I' ? 'I' : 'V');
    EXPECT_EQ(ref, type == 'I' ? off : type == 'J' ? off - ((ref_len + 7) & ~7u) : prev_ref);
    prev_ref = ref;
  }
  EXPECT_EQ(prev_time, ev.end);
  // The event opens with its first key frame or that frame's 'V'.
  EXPECT_EQ(le32(&entries[top - newest - 32 + 16]), ev.data_start);
  EXPECT_EQ(ev.data_start + ev.data_size, ev.kframes.back().offset + ev.kframes.back().length +
                                              ev.opts.tail_frames * (40 + ev.opts.p_bytes));
}

}  // namespace

// Per case, an event with motion records every 2 s and a one-frame event
// without any: its motion range is empty, at the "MoBitEnd" marker.
TEST(RecorderEvents, KeyFramesFramesMotionAndStreamsMatchTheIndex) {
  // Plain, with reference frames, frame times that do not divide a second
  // evenly, and 'P' frames after the closing key frame.
  const rec::RecordOptions cases[] = {
      {}, {.ref_every = 3}, {.fps = 30, .key_interval = 7, .ref_every = 2}, {.tail_frames = 4}};
  for (auto o : cases) {
    SCOPED_TRACE(testing::Message() << "ref " << o.ref_every << " fps " << o.fps << " tail "
                                    << o.tail_frames);
    TempDir dir;
    rec::Recorder r(rec::DiskShape{}, dir.file("d.img"));
    const rec::RecordOptions still = o;
    o.motion_step = 2;
    r.record(3, rec::t("2026-03-01 10:00:00"), rec::t("2026-03-01 10:00:21"), rec::kMotion, o);
    r.record(3, rec::t("2026-03-01 10:05:00"), rec::t("2026-03-01 10:05:00"), rec::kTimed, still);
    r.finish();
    RawDisk d(dir.file("d.img"));
    ASSERT_EQ(r.events().size(), 2u);
    for (const auto& ev : r.events()) check_event(d, r, ev);
    const auto &first = r.events()[0], &last = r.events()[1];
    EXPECT_EQ(first.end, rec::t("2026-03-01 10:00:21"));
    EXPECT_EQ(first.motion.size(), 11u);
    EXPECT_EQ(first.moarea_start, 0x1000u);
    EXPECT_EQ(last.moarea_start, first.moarea_end);
    EXPECT_EQ(tag(d.data(0, 1, first.moarea_end, 8).data(), 8), "MoBitEnd");
    EXPECT_EQ(le32(&d.file_record(0, 1)[296]), first.moarea_end);
    // The "Iend" marker lies just below the file's newest entry.
    EXPECT_EQ(tag(d.data(0, 1, last.last_iframe_pos - 32, 4).data()), "Iend");
  }
}

TEST(RecorderEvents, FullFilesContinueInTheNextFile) {
  // A full event table: event 257 of a 256 MiB file goes to the next file.
  rec::DiskShape disk;
  disk.headers_only = true;
  rec::Recorder r(disk);
  rec::RecordOptions o{.fps = 1, .key_interval = 1};
  for (int i = 0; i < 257; ++i)
    r.record(7, rec::add_seconds(rec::t("2026-03-01"), 10 * i),
             rec::add_seconds(rec::t("2026-03-01"), 10 * i + 2), rec::kTimed, o);
  EXPECT_EQ(r.events()[255].file_no, 1);
  EXPECT_EQ(r.events()[256].file_no, 2);
  EXPECT_EQ(r.events()[256].event_no, 1);

  // A full motion area (26163 records in a 256 MiB file): the event closes
  // on a key frame and the recording goes on as a new event in file 2.
  TempDir dir;
  rec::Recorder big(disk, dir.file("d.img"));
  o.key_interval = 5;
  o.motion_step = 1;
  const auto made = big.record(2, rec::t("2026-03-01 10:00:00"), rec::t("2026-03-01 18:00:00"),
                               rec::kMotion, o);
  big.finish();
  ASSERT_EQ(made.size(), 2u);
  EXPECT_EQ(made[1]->file_no, 2);
  EXPECT_EQ(made[1]->start, rec::add_seconds(made[0]->end, 1));
  EXPECT_EQ(made[1]->end, rec::t("2026-03-01 18:00:00"));
  EXPECT_LE(made[0]->moarea_end + 80, big.geometry().motion_end);
  EXPECT_GT(made[0]->moarea_end + 16 * 80, big.geometry().motion_end);  // nearly full
  RawDisk d(dir.file("d.img"));
  for (const auto* ev : made) check_event(d, big, *ev);
  EXPECT_NE(le32(&d.file_record(0, 1)[24]), 0xFFFFFFFFu);
}
