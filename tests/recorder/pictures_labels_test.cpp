// Picture files, the picture-month block and the label area.
#include <gtest/gtest.h>

#include "disk_view.h"
#include "recorder.h"
#include "temp_dir.h"

using namespace rectest;

TEST(RecorderPictures, RecordsSummaryAndMonthTable) {
  TempDir dir;
  rec::Recorder r(rec::DiskSpec{}, dir / "d.img");
  rec::PictureOptions deleted;
  deleted.status = 2;
  rec::PictureOptions extra;
  extra.extra_word = 0xABCD;
  extra.type_mask = rec::kAlarm;
  r.snapshot(31, rec::t("2026-03-05 09:00:00"), 4097);
  r.snapshot(40, rec::t("2026-03-06 09:00:00"), 100, extra);
  r.snapshot(70, rec::t("2026-03-07 09:00:00"), 300);
  r.snapshot(5, rec::t("2026-03-08 09:00:00"), 50, deleted);
  r.finish();

  RawDisk d(dir / "d.img");
  const auto& pics = r.pictures();
  const auto file = d.file_record(0, 1);
  EXPECT_EQ(file[11], 1);
  EXPECT_EQ(le16(&file[6]), 4);
  EXPECT_EQ(le32(&file[32]), 0x10000000u - 4 * 48);
  EXPECT_EQ(le32(&file[16]), rec::t("2026-03-05 09:00:00"));
  EXPECT_EQ(le32(&file[20]), rec::t("2026-03-07 09:00:00"));  // the deleted one is left out
  EXPECT_EQ(le64(&file[304]), 0xFFFFFFFF80000100ull);  // channel 31 and channel 40 (bit 8)
  EXPECT_EQ(le64(&file[312]), 1ull << 6);               // channel 70
  EXPECT_EQ(le32(&file[40 + 4 * 3]), (1u << 4) | (1u << 6));  // manual on the 5th and 7th
  EXPECT_EQ(le32(&file[40 + 4 * 2]), 1u << 5);
  EXPECT_EQ(le32(&file[28]), pics[3].offset + 50);

  const auto table = d.data(0, 1, le32(&file[32]), 4 * 48);
  for (size_t i = 0; i < pics.size(); ++i) {
    const uint8_t* p = &table[48 * (3 - i)];  // the first picture lies nearest the end
    EXPECT_EQ(tag(p), "Pict");
    EXPECT_EQ(le32(p + 4), pics[i].time);
    EXPECT_EQ(le32(p + 8), pics[i].offset);
    EXPECT_EQ(le32(p + 12), pics[i].length);
    EXPECT_EQ(le16(p + 28), pics[i].chn);
    EXPECT_TRUE(d.data(0, 1, pics[i].offset, pics[i].length) == r.picture_bytes(pics[i]));
  }
  EXPECT_EQ(table[48 * 0 + 30], 2);
  EXPECT_EQ(le32(&table[48 * 2 + 24]), 0xABCDu);
  EXPECT_EQ(le64(&table[48 * 2 + 16]), rec::kAlarm);
  EXPECT_EQ(tag(d.data(0, 1, le32(&file[32]) - 48, 4).data()), "Pend");

  const auto mon = d.data(0, 1, 0x1000, 32 + 4 * 16);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(mon.data()), 8), std::string("PicMon_\0", 8));
  EXPECT_EQ(le32(&mon[12]), 4u);
  EXPECT_EQ(le32(&mon[16]), rec::t("2026-03-05 09:00:00"));
  EXPECT_EQ(le32(&mon[20]), rec::t("2026-03-08 09:00:00"));
  const uint32_t table_off = le32(&mon[24]), entry = le32(&mon[28]);
  EXPECT_LE(table_off + 4 * entry, pics[0].offset);  // the table stays below the pictures
  const uint8_t* e = &mon[table_off - 0x1000 + entry];
  EXPECT_EQ(le16(e), 26);
  EXPECT_EQ(e[2], 3);
  EXPECT_EQ(e[3], 6);
  const auto part = d.partition(0);
  EXPECT_EQ(le32(&part[24]), rec::t("2026-03-05 09:00:00"));
  EXPECT_EQ(le32(&part[28]), rec::t("2026-03-07 09:00:00"));
  EXPECT_EQ(le32(&part[16]), 0u);
}

TEST(RecorderLabels, HeadHalvesAndEndRecord) {
  TempDir dir;
  rec::Recorder r(rec::DiskSpec{}, dir / "d.img");
  rec::LabelOptions deleted;
  deleted.state = 2;
  rec::LabelOptions extra;
  extra.extra_word1 = 11;
  extra.extra_half = 22;
  r.label(3, rec::t("2026-03-01 10:06:00"), "door opened", extra);
  r.label(4, rec::t("2026-03-01 09:00:00"), "earlier");
  r.label(5, rec::t("2026-03-02 09:00:00"), "gone", deleted);
  r.label(6, rec::t("2026-03-01 10:00:00"), std::string(60, 'x'));
  r.finish();

  RawDisk d(dir / "d.img");
  const uint64_t area = le32(&d.blk.b[32]);
  ASSERT_NE(area, 0u);
  const auto head = d.f.read(area, 32);
  EXPECT_NE(le32(&head[0]), 0u);
  EXPECT_EQ(tag(&head[4]), "LabH");
  EXPECT_EQ(le32(&head[8]), 4u);
  EXPECT_EQ(le32(&head[16]), rec::t("2026-03-01 09:00:00"));
  EXPECT_EQ(le32(&head[24]), rec::t("2026-03-01 10:06:00"));  // the deleted label is left out
  EXPECT_EQ(le32(&head[20]), 0u);
  const auto recs = d.f.read(area + 0x400, 5 * 64);
  EXPECT_EQ(le32(&recs[4]), 11u);
  EXPECT_EQ(le32(&recs[12]), rec::t("2026-03-01 10:06:00"));
  EXPECT_EQ(le16(&recs[16]), 22);
  EXPECT_EQ(le16(&recs[18]), 3);
  EXPECT_EQ(recs[20], 1);
  EXPECT_STREQ(reinterpret_cast<const char*>(&recs[21]), "door opened");
  EXPECT_EQ(recs[128 + 20], 2);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(&recs[192 + 21])), std::string(42, 'x'));
  EXPECT_EQ(tag(&recs[256]), "Lend");
}

TEST(RecorderLabels, SecondHalfTakesLabelsAfterTheFirstIsFull) {
  TempDir dir;
  rec::DiskSpec spec;
  spec.nas = true;
  spec.files_per_partition = 1;
  rec::Recorder r(spec, dir / "nas");
  const rec::PackedTime t0 = rec::t("2026-03-01 00:00:00");
  for (int i = 0; i < 16384 + 3; ++i) r.label(i % 8, rec::add_seconds(t0, i), "l");
  r.finish();
  File f(dir / "nas/label0");
  const auto head = f.read(0, 32);
  EXPECT_EQ(le32(&head[8]), 16387u);
  EXPECT_EQ(le32(&head[16]), t0);
  EXPECT_EQ(le32(&head[24]), rec::add_seconds(t0, 16383));
  EXPECT_EQ(le32(&head[20]), rec::add_seconds(t0, 16384));
  EXPECT_EQ(le32(&head[28]), rec::add_seconds(t0, 16386));
  EXPECT_EQ(le32(f.read(0x100400 + 2 * 64 + 12, 4).data()), rec::add_seconds(t0, 16386));
  EXPECT_EQ(tag(f.read(0x100400 + 3 * 64, 4).data()), "Lend");
}
