// What a power cut leaves on the disk.
#include <gtest/gtest.h>

#include "disk_view.h"
#include "recorder.h"
#include "temp_dir.h"

using namespace rectest;

namespace {

struct PowerCutDisk : ::testing::Test {
  PowerCutDisk() : r(rec::DiskSpec{}, dir / "d.img") {
    const rec::PackedTime s = rec::t("2026-03-01 10:00:00"), e = rec::t("2026-03-01 10:00:20");
    const rec::PackedTime s2 = rec::t("2026-03-01 10:01:00"), cut = rec::t("2026-03-01 10:01:05");
    rec::RecordOptions o;
    o.motion_step = 1;
    for (int chn = 1; chn <= 4; ++chn) r.record(chn, s, e, rec::kMotion, o);
    written = &r.record_interrupted(1, s2, cut, rec::kMotion, o, rec::Cut::KeyFramesWritten);
    fresh = &r.record_interrupted(2, s2, cut, rec::kMotion, o, rec::Cut::NoKeyFrameYet);
    closed = &r.record_interrupted(3, s2, cut, rec::kMotion, o, rec::Cut::EventClosed);
    wrong = &r.record_interrupted(4, s2, cut, rec::kMotion, o, rec::Cut::WrongEventNo);
    r.snapshot(1, s2, 5000);
    r.snapshot(70, cut, 7000);
    r.power_loss();
  }
  TempDir dir;
  rec::Recorder r;
  const rec::EventTruth *written, *fresh, *closed, *wrong;
};

}  // namespace

TEST_F(PowerCutDisk, OpenFilesAndEventsBeingWritten) {
  RawDisk d(dir / "d.img");
  EXPECT_EQ(d.partition(0)[11], 1);  // repair flag
  for (const auto* ev : {written, fresh, closed, wrong}) {
    SCOPED_TRACE(ev->chn);
    const auto file = d.file_record(0, ev->file_no);
    EXPECT_EQ(file[10], 1);
    EXPECT_EQ(le32(&file[24]), 0xFFFFFFFFu);
    EXPECT_EQ(le16(&file[6]), 2);
    const auto stored = d.event(0, ev->file_no, 2);
    const bool open = ev != closed;
    EXPECT_EQ(tag(stored.data()), open ? "EvWr" : "Even");
    EXPECT_EQ(le16(&stored[24]), ev == wrong ? 3 : 2);
    EXPECT_EQ(le32(&d.event(0, ev->file_no, 3)[0]), 0u);
    if (!open) continue;
    // The record shows the event as it was opened and the file as the first
    // event left it.
    EXPECT_EQ(le32(&stored[40]), ev->start);
    EXPECT_EQ(le32(&stored[44]), 0u);
    EXPECT_EQ(le32(&stored[48]), ev->iframe_top);
    EXPECT_EQ(le32(&stored[56]), ev->moarea_start);
    EXPECT_EQ(le32(&file[28]), ev->data_start);
    EXPECT_EQ(le32(&file[32]), ev->iframe_top);
    EXPECT_EQ(le32(&file[20]), rec::t("2026-03-01 10:00:20"));
    EXPECT_TRUE(d.data(0, ev->file_no, ev->data_start, ev->stream_size) == r.stream(*ev));
    const uint32_t newest = ev->kframes.empty() ? ev->iframe_top : ev->kframes.back().entry_pos;
    EXPECT_EQ(tag(d.data(0, ev->file_no, newest - 32, 4).data()), "Iend");
    const uint32_t mo_end = ev->moarea_start + 80 * static_cast<uint32_t>(ev->motion.size());
    EXPECT_EQ(tag(d.data(0, ev->file_no, mo_end, 4).data()), "MoBi");
  }
  EXPECT_TRUE(fresh->kframes.empty());
  EXPECT_EQ(fresh->stream_size, 0u);
  EXPECT_EQ(written->kframes.size(), 3u);  // :00, :02, :04; the frames after :04 are 'P'
  EXPECT_EQ(written->stream_size, 126u * 40 + 3 * 12000 + 123 * 1500);
}

TEST_F(PowerCutDisk, OpenPictureFileKeepsItsRecordsButNotItsSummary) {
  RawDisk d(dir / "d.img");
  const auto& pics = r.pictures();
  const int file_no = pics[0].file_no;
  const auto file = d.file_record(0, file_no);
  EXPECT_EQ(file[11], 1);
  EXPECT_EQ(le32(&file[24]), 0xFFFFFFFFu);
  EXPECT_EQ(le16(&file[6]), 0);  // as the file was opened
  const auto recs = d.data(0, file_no, pics[1].record_pos - 48, 3 * 48);
  EXPECT_EQ(tag(&recs[0]), "Pend");
  EXPECT_EQ(le32(&recs[8]), pics[1].offset + pics[1].length);
  EXPECT_EQ(tag(&recs[48]), "Pict");
  EXPECT_EQ(le16(&recs[48 + 28]), 70);
  EXPECT_EQ(le32(&recs[96 + 8]), pics[0].offset);
}

TEST(RecorderStates, BadDiskBadPartitionAndForcedFlags) {
  TempDir dir;
  rec::DiskSpec spec;
  spec.partitions = 2;
  spec.files_per_partition = 3;
  rec::Recorder r(spec, dir / "d.img");
  r.record(0, rec::t("2026-03-01 10:00:00"), rec::t("2026-03-01 10:00:02"), rec::kTimed);
  r.set_disk_state(3);
  r.set_partition_state(1, 2);
  r.set_repair_flag(1, true);
  r.finish();
  EXPECT_THROW(r.record(0, rec::t("2026-03-02"), rec::t("2026-03-02"), 1), std::logic_error);
  for (int k = 0; k < 4; ++k) {
    RawDisk d(dir / "d.img", k);
    EXPECT_EQ(d.blk.b[14], 3);
    EXPECT_EQ(d.partition(0)[10], 0);
    EXPECT_EQ(d.partition(0)[11], 0);  // a clean shutdown leaves no repair to do
    EXPECT_EQ(d.partition(1)[10], 2);
    EXPECT_EQ(d.partition(1)[11], 1);
  }
}
