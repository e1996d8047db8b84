// What a power cut leaves on the disk: open record files with their last
// event in each of the four interrupted states, and an open picture file.
#include <gtest/gtest.h>

#include "disk_view.h"

using namespace rectest;

TEST(RecorderPowerLoss, OpenFilesEventsBeingWrittenAndOpenPictureFile) {
  TempDir dir;
  rec::Recorder r(rec::DiskShape{}, dir.file("d.img"));
  const rec::PackedTime s = rec::t("2026-03-01 10:00:00"), e = rec::t("2026-03-01 10:00:20");
  const rec::PackedTime s2 = rec::t("2026-03-01 10:01:00"), cut = rec::t("2026-03-01 10:01:05");
  const rec::RecordOptions o{.motion_step = 1};
  for (int chn = 1; chn <= 4; ++chn) r.record(chn, s, e, rec::kMotion, o);
  using C = rec::Cut;
  const auto* written = &r.record_interrupted(1, s2, cut, rec::kMotion, o, C::KeyFramesWritten);
  const auto* fresh = &r.record_interrupted(2, s2, cut, rec::kMotion, o, C::NoKeyFrameYet);
  const auto* closed = &r.record_interrupted(3, s2, cut, rec::kMotion, o, C::EventClosed);
  const auto* wrong = &r.record_interrupted(4, s2, cut, rec::kMotion, o, C::WrongEventNo);
  r.snapshot(1, s2, 5000);
  r.snapshot(70, cut, 7000);
  r.power_loss();

  RawDisk d(dir.file("d.img"));
  EXPECT_EQ(d.partition(0)[11], 1);  // repair flag
  for (const auto* ev : {written, fresh, closed, wrong}) {
    SCOPED_TRACE(ev->chn);
    const auto file = d.file_record(0, ev->file_no), stored = d.event(0, ev->file_no, 2);
    EXPECT_EQ(file[10], 1);
    EXPECT_EQ(le32(&file[24]), 0xFFFFFFFFu);
    EXPECT_EQ(le16(&file[6]), 2);
    EXPECT_EQ(tag(stored.data()), ev == closed ? "Even" : "EvWr");
    EXPECT_EQ(le16(&stored[24]), ev == wrong ? 3 : 2);
    EXPECT_EQ(le32(&d.event(0, ev->file_no, 3)[0]), 0u);
    if (ev == closed) continue;
    // The record shows the event as it was opened and the file as the first
    // event left it.
    expect_words(stored, {{40, ev->start}, {44, 0}, {48, ev->iframe_top}, {56, ev->moarea_start}});
    expect_words(file, {{20, e}, {28, ev->data_start}, {32, ev->iframe_top}});
    EXPECT_TRUE(d.data(0, ev->file_no, ev->data_start, ev->stream_size) == r.stream(*ev));
    const uint32_t newest = ev->kframes.empty() ? ev->iframe_top : ev->kframes.back().entry_pos;
    EXPECT_EQ(tag(d.data(0, ev->file_no, newest - 32, 4).data()), "Iend");
    const uint32_t mo_end = ev->moarea_start + 80 * static_cast<uint32_t>(ev->motion.size());
    EXPECT_EQ(tag(d.data(0, ev->file_no, mo_end, 8).data(), 8), "MoBitEnd");
  }
  EXPECT_TRUE(fresh->kframes.empty());
  EXPECT_EQ(fresh->stream_size, 0u);
  EXPECT_EQ(written->kframes.size(), 3u);  // :00, :02, :04; the frames after :04 are 'P'
  EXPECT_EQ(written->stream_size, 126u * 40 + 3 * 12000 + 123 * 1500);

  // The open picture file keeps its records and "Pend" but not its summary.
  const auto& pics = r.pictures();
  const auto file = d.file_record(0, pics[0].file_no);
  EXPECT_EQ(file[11], 1);
  EXPECT_EQ(le32(&file[24]), 0xFFFFFFFFu);
  EXPECT_EQ(le16(&file[6]), 0);  // as the file was opened
  const auto recs = d.data(0, pics[0].file_no, pics[1].record_pos - 48, 3 * 48);
  EXPECT_EQ(tag(&recs[0]), "Pend");
  EXPECT_EQ(le32(&recs[8]), pics[1].offset + pics[1].length);
  EXPECT_EQ(tag(&recs[48]), "Pict");
  EXPECT_EQ(le16(&recs[48 + 28]), 70);
  EXPECT_EQ(le32(&recs[96 + 8]), pics[0].offset);
}
