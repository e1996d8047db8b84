// Picture files, the picture-month block and the label area.
#include <gtest/gtest.h>

#include "disk_view.h"

using namespace rectest;

TEST(RecorderPicturesAndLabels, RecordsSummariesMonthTableAndLabelArea) {
  TempDir dir;
  rec::Recorder r(rec::DiskShape{}, dir.file("d.img"));
  r.snapshot(31, rec::t("2026-03-05 09:00:00"), 4097);
  r.snapshot(40, rec::t("2026-03-06 09:00:00"), 100,
             {.type_mask = rec::kAlarm, .extra_word = 0xABCD});
  r.snapshot(70, rec::t("2026-03-07 09:00:00"), 300);
  r.snapshot(5, rec::t("2026-03-08 09:00:00"), 50, {.status = 2});
  // Labels: one deleted, one too long; the NAS test fills the first half.
  r.label(3, rec::t("2026-03-01 10:06:00"), "door opened", {.extra_word1 = 11, .extra_half = 22});
  r.label(4, rec::t("2026-03-01 09:00:00"), "earlier");
  r.label(5, rec::t("2026-03-02 09:00:00"), "gone", {.state = 2});
  r.label(6, rec::t("2026-03-01 10:00:00"), std::string(60, 'x'));
  r.finish();

  RawDisk d(dir.file("d.img"));
  const auto& pics = r.pictures();
  const auto file = d.file_record(0, 1);
  EXPECT_EQ(file[11], 1);
  EXPECT_EQ(le16(&file[6]), 4);
  // Times without the deleted picture; the day map has manual pictures on the
  // 5th and 7th, an alarm on the 6th.
  expect_words(file, {{16, rec::t("2026-03-05 09:00:00")}, {20, rec::t("2026-03-07 09:00:00")},
                      {28, pics[3].offset + 50}, {32, 0x10000000u - 4 * 48},
                      {40 + 4 * 3, 1u << 4 | 1u << 6}, {40 + 4 * 2, 1u << 5}});
  EXPECT_EQ(le64(&file[304]), 0xFFFFFFFF80000100ull);  // channel 31 and channel 40 (bit 8)
  EXPECT_EQ(le64(&file[312]), 1ull << 6);               // channel 70

  const auto table = d.data(0, 1, le32(&file[32]) - 48, 5 * 48);
  EXPECT_EQ(tag(&table[0]), "Pend");
  for (size_t i = 0; i < pics.size(); ++i) {
    SCOPED_TRACE(i);
    const Bytes p(&table[48 * (4 - i)], &table[48 * (5 - i)]);  // the first lies nearest the end
    EXPECT_EQ(tag(p.data()), "Pict");
    // Time, offset, length, type mask, extra word; channel and status.
    expect_words(p, {{4, pics[i].time}, {8, pics[i].offset}, {12, pics[i].length},
                     {16, i == 1 ? rec::kAlarm : rec::kManual}, {20, 0}, {24, i == 1 ? 0xABCD : 0},
                     {28, pics[i].chn | (i == 3 ? 2u : 1u) << 16}});
    EXPECT_TRUE(d.data(0, 1, pics[i].offset, pics[i].length) == r.picture_bytes(pics[i]));
  }

  // The month block at 4096 and its entry table below the first picture.
  const auto mon = d.data(0, 1, 0x1000, 32 + 4 * 16);
  EXPECT_EQ(tag(mon.data(), 8), std::string("PicMon_\0", 8));
  expect_words(mon, {{12, 4}, {16, rec::t("2026-03-05 09:00:00")},
                     {20, rec::t("2026-03-08 09:00:00")}});
  const uint32_t table_off = le32(&mon[24]), entry = le32(&mon[28]);
  EXPECT_LE(table_off + 4 * entry, pics[0].offset);
  const uint8_t* e = &mon[table_off - 0x1000 + entry];  // the second picture: 2026-03-06
  EXPECT_EQ(le32(e), 26u | 3u << 16 | 6u << 24);
  expect_words(d.partition(0), {{16, 0}, {24, rec::t("2026-03-05 09:00:00")},
                                {28, rec::t("2026-03-07 09:00:00")}});

  // The label head (second half unused, the deleted label left out of the
  // time range), the records and the end record.

  const uint64_t area = le32(&d.b[32]);
  ASSERT_NE(area, 0u);
  const auto head = d.f.read(area, 32), recs = d.f.read(area + 0x400, 5 * 64);
  EXPECT_NE(le32(&head[0]), 0u);
  EXPECT_EQ(tag(&head[4]), "LabH");
  expect_words(head, {{8, 4}, {16, rec::t("2026-03-01 09:00:00")}, {20, 0},
                      {24, rec::t("2026-03-01 10:06:00")}});
  expect_words(recs, {{4, 11}, {12, rec::t("2026-03-01 10:06:00")}, {16, 22u | 3u << 16}});
  EXPECT_EQ(recs[20], 1);
  EXPECT_STREQ(reinterpret_cast<const char*>(&recs[21]), "door opened");
  EXPECT_EQ(recs[128 + 20], 2);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(&recs[192 + 21])), std::string(42, 'x'));
  EXPECT_EQ(tag(&recs[256]), "Lend");
}
