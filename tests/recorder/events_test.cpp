// Frames, key-frame index entries, reference frames and motion records.
#include <gtest/gtest.h>

#include "disk_view.h"
#include "recorder.h"
#include "temp_dir.h"

using namespace rectest;

namespace {

// Checks one closed event against the disk: its stream bytes, every key-frame
// entry inside its index range and newest lowest, and the frame header each
// entry names.
void check_event(const RawDisk& d, const rec::Recorder& r, const rec::EventTruth& ev) {
  SCOPED_TRACE("event " + std::to_string(ev.file_no) + "/" + std::to_string(ev.event_no));
  const auto stored = d.event(ev.partition, ev.file_no, ev.event_no);
  EXPECT_EQ(le32(&stored[4]), ev.start);
  EXPECT_EQ(le32(&stored[8]), ev.data_start);
  EXPECT_EQ(le32(&stored[12]), ev.iframe_top);
  EXPECT_EQ(le16(&stored[24]), ev.event_no);
  EXPECT_EQ(le32(&stored[40]), ev.end);
  EXPECT_EQ(le32(&stored[44]), ev.data_size);
  EXPECT_EQ(le32(&stored[48]), ev.last_iframe_pos);
  ASSERT_FALSE(ev.kframes.empty());
  EXPECT_EQ(ev.kframes.front().time, ev.start);

  const auto bytes = d.data(ev.partition, ev.file_no, ev.data_start, ev.stream_size);
  EXPECT_TRUE(bytes == r.stream(ev));

  const uint32_t top = le32(&stored[12]), newest = le32(&stored[48]);
  ASSERT_EQ((top - newest) / 32, ev.kframes.size());
  const auto entries = d.data(ev.partition, ev.file_no, newest, top - newest);
  uint32_t prev_time = 0;
  for (size_t k = 0; k < ev.kframes.size(); ++k) {  // oldest first: from the top down
    const uint8_t* e = &entries[top - newest - 32 * (k + 1)];
    const uint32_t time = le32(e + 4), off = le32(e + 8), len = le32(e + 12);
    EXPECT_GE(time, prev_time);
    prev_time = time;
    ASSERT_GE(off, ev.data_start);
    ASSERT_LE(off + len, ev.data_start + ev.data_size);
    const uint8_t* h = &bytes[off - ev.data_start];
    EXPECT_EQ(tag(h), "QKFm");
    EXPECT_EQ(rec::unix_to_packed(static_cast<int64_t>(le64(h + 16)) / 1000000), time);
    EXPECT_EQ(char(h[4]), ev.kframes[k].type);
    const uint32_t ref = le32(e + 16), ref_len = le32(e + 20);
    if (h[4] == 'I') {
      EXPECT_EQ(ref, off);
      EXPECT_EQ(ref_len, 0u);
    } else {
      EXPECT_EQ(char(bytes[ref - ev.data_start + 4]), 'V');
      EXPECT_EQ(off - ref >= ((ref_len + 7) & ~7u), true);
    }
  }
  EXPECT_EQ(prev_time, ev.end);
  EXPECT_EQ(ev.data_start + ev.data_size, ev.kframes.back().offset + ev.kframes.back().length +
                                              ev.opts.tail_frames * (40 + ev.opts.p_bytes));
}

}  // namespace

TEST(RecorderEvents, KeyFramesFramesAndStreamsMatchTheIndex) {
  struct Case {
    const char* name;
    rec::RecordOptions o;
  };
  rec::RecordOptions plain, referenced, odd, tail;
  referenced.ref_every = 3;
  odd.fps = 30;  // frame times that do not divide a second evenly
  odd.key_interval = 7;
  tail.tail_frames = 4;
  const Case cases[] = {{"plain", plain}, {"reference", referenced}, {"odd", odd}, {"tail", tail}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    TempDir dir;
    rec::Recorder r(rec::DiskSpec{}, dir / "d.img");
    r.record(3, rec::t("2026-03-01 10:00:00"), rec::t("2026-03-01 10:00:21"), rec::kMotion, c.o);
    r.record(3, rec::t("2026-03-01 10:05:00"), rec::t("2026-03-01 10:05:00"), rec::kMotion, c.o);
    r.finish();
    RawDisk d(dir / "d.img");
    ASSERT_EQ(r.events().size(), 2u);
    for (const auto& ev : r.events()) check_event(d, r, ev);
    const auto& ev = r.events()[0];
    EXPECT_EQ(ev.end, rec::t("2026-03-01 10:00:21"));
    // The "Iend" marker lies just below the file's newest entry.
    const auto& last = r.events()[1];
    EXPECT_EQ(tag(d.data(0, 1, last.last_iframe_pos - 32, 4).data()), "Iend");
    EXPECT_EQ(last.start, last.end);
  }
}

TEST(RecorderEvents, ReferenceFramesPrecedeTheirKeyFrames) {
  rec::RecordOptions o;
  o.ref_every = 2;
  o.key_interval = 5;
  rec::Recorder r(rec::DiskSpec{});
  const auto& ev = *r.record(0, rec::t("2026-03-01 10:00:00"), rec::t("2026-03-01 10:00:01"),
                             rec::kTimed, o)[0];
  std::string types;
  for (const auto& k : ev.kframes) types += k.type;
  EXPECT_EQ(types, "JKJKJK");  // frames 0, 5, 10, 15, 20 and the closing frame 25
  EXPECT_EQ(ev.kframes[0].ref_offset, ev.data_start);  // the event opens with its 'V'
  EXPECT_EQ(ev.kframes[1].ref_offset, ev.kframes[0].ref_offset);
  EXPECT_EQ(ev.kframes[0].offset - ev.kframes[0].ref_offset, (40u + o.ref_bytes + 7) & ~7u);
}

TEST(RecorderEvents, MotionRecordsFillTheEventsRange) {
  TempDir dir;
  rec::RecordOptions o;
  o.motion_step = 2;
  rec::Recorder r(rec::DiskSpec{}, dir / "d.img");
  r.record(1, rec::t("2026-03-01 10:00:00"), rec::t("2026-03-01 10:00:09"), rec::kMotion, o);
  r.record(1, rec::t("2026-03-01 11:00:00"), rec::t("2026-03-01 11:00:03"), rec::kTimed);
  r.finish();
  RawDisk d(dir / "d.img");
  const auto& ev = r.events()[0];
  EXPECT_EQ(ev.moarea_start, 0x1000u);
  ASSERT_EQ(ev.motion.size(), 5u);  // :00 :02 :04 :06 :08
  EXPECT_EQ(ev.moarea_end, 0x1000u + 5 * 80);
  const auto recs = d.data(0, 1, ev.moarea_start, ev.moarea_end - ev.moarea_start + 80);
  for (size_t i = 0; i < 5; ++i) {
    const uint8_t* m = &recs[80 * i];
    const rec::TimeFields f = rec::unpack_time(ev.motion[i]);
    EXPECT_EQ(m[1], f.second);
    EXPECT_EQ(m[3], 10);
    EXPECT_EQ(m[5], 3);
    EXPECT_EQ(le16(m + 6), 26);
    const auto cells = rec::motion_cells(1, ev.motion[i]);
    EXPECT_TRUE(std::equal(cells.begin(), cells.end(), m + 8));
  }
  EXPECT_EQ(tag(&recs[400]) + tag(&recs[404]), "MoBitEnd");
  const auto second = d.event(0, 1, 2);  // without motion: an empty range at the marker
  EXPECT_EQ(le32(&second[28]), ev.moarea_end);
  EXPECT_EQ(le32(&second[56]), ev.moarea_end);
  EXPECT_EQ(le32(&d.file_record(0, 1)[296]), ev.moarea_end);
}

TEST(RecorderEvents, FullFilesContinueInTheNextFile) {
  // A full event table: event 257 of a 256 MiB file goes to the next file.
  rec::DiskSpec spec;
  spec.headers_only = true;
  rec::Recorder r(spec);
  rec::RecordOptions o;
  o.fps = 1;
  o.key_interval = 1;
  for (int i = 0; i < 257; ++i) {
    const rec::PackedTime s = rec::add_seconds(rec::t("2026-03-01 00:00:00"), 10 * i);
    r.record(7, s, rec::add_seconds(s, 2), rec::kTimed, o);
  }
  EXPECT_EQ(r.events()[255].file_no, 1);
  EXPECT_EQ(r.events()[256].file_no, 2);
  EXPECT_EQ(r.events()[256].event_no, 1);

  // A full motion area (26163 records in a 256 MiB file): the event closes
  // on a key frame and the recording goes on as a new event in file 2.
  TempDir dir;
  rec::Recorder big(spec, dir / "d.img");
  o.key_interval = 5;
  o.motion_step = 1;
  const auto made = big.record(2, rec::t("2026-03-01 10:00:00"), rec::t("2026-03-01 18:00:00"),
                               rec::kMotion, o);
  big.finish();
  ASSERT_EQ(made.size(), 2u);
  EXPECT_EQ(made[1]->file_no, 2);
  EXPECT_EQ(made[1]->start, rec::add_seconds(made[0]->end, 1));
  EXPECT_EQ(made[1]->end, rec::t("2026-03-01 18:00:00"));
  EXPECT_LE(made[0]->moarea_end + 80, r.geometry().motion_end);
  EXPECT_GT(made[0]->moarea_end + 16 * 80, r.geometry().motion_end);  // nearly full
  RawDisk d(dir / "d.img");
  for (const auto* ev : made) check_event(d, big, *ev);
  EXPECT_NE(le32(&d.file_record(0, 1)[24]), 0xFFFFFFFFu);
}
