// Packed times, the disk parameter block, geometry, index copies and summaries.
#include <gtest/gtest.h>

#include "disk_view.h"

using namespace rectest;

TEST(RecorderTime, PacksAsUtcAndRefusesImpossibleDates) {
  EXPECT_EQ(rec::t("2024-02-29 23:59:58"), 0x60BB7EFAu);
  EXPECT_EQ(rec::unix_to_packed(1700000000), rec::t("2023-11-14 22:13:20"));
  for (const char* bad : {"2023-02-29 00:00:00", "2024-01-01 24:00:00", "1999-12-31", "x"})
    EXPECT_THROW(rec::t(bad), std::invalid_argument) << bad;
}

// Every data-file size (and an unsupported one): block, geometry, where the
// first events lie, and the four index copies equal except a damaged one.
TEST(RecorderLayout, BlockGeometryAndIndexCopiesForEveryDataFileSize) {
  struct Case { uint32_t stored, stride, table, media_start; };
  const Case cases[] = {{0x10000000, 0x10000000, 16384, 0x400000}, {0x20000000, 0x20000000, 16384, 0x1800000},
                        {0x40000000, 0x40000000, 32768, 0x1800000}, {0x30000000, 0x10000000, 16384, 0x400000}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.stored);
    TempDir dir;
    const rec::DiskShape disk{.data_file_size = c.stored, .partitions = 3, .files_per_partition = 5,
                             .index_flags = {0x0F, 0x0A}, .switch_a = 77};
    rec::Recorder r(disk, dir.file("d.img"));
    r.use_partition(1);
    r.record(2, rec::t("2026-03-01 10:00:00"), rec::t("2026-03-01 10:00:10"), rec::kTimed);
    r.record(2, rec::t("2026-03-01 10:01:00"), rec::t("2026-03-01 10:01:05"), rec::kTimed);
    r.snapshot(0, rec::t("2026-03-01 10:00:10"), 1000);
    r.damage_index_copy(1, 2, 0, {'X'});
    r.finish();

    RawDisk d(dir.file("d.img"));
    const auto& b = d.b;
    // 3 partitions, writing 1, state 0, fs type 3 (magic, version and check
    // sum are checked by every mount of every test disk).
    expect_words(b, {{12, 0x03000103}, {56, 77}, {64, c.stored}});
    EXPECT_EQ(le32(&b[200]) & 0xFFFFFF, 0x0F0A0Fu);  // given flags, then the default
    EXPECT_EQ(d.data_file(1, 2) - d.data_file(1, 1), c.stride);
    EXPECT_GE(d.part_base(1), d.data_file(0, 6));  // partitions do not overlap
    EXPECT_GE(le32(&b[24]), le32(&b[20]) + 5 * 336);  // event tables after the file table
    EXPECT_GE(uint64_t(le32(&b[216])), le32(&b[24]) + 5ull * c.table);
    EXPECT_EQ(d.f.size(), d.part_base(2) + le32(&b[68]) + 5ull * c.stride);

    const auto first = d.event(1, 1, 1), second = d.event(1, 1, 2);
    // Media from media_start up, key-frame entries from the file end down.
    expect_words(first, {{8, c.media_start}, {12, c.stride}});
    expect_words(second, {{8, c.media_start + le32(&first[44])}, {12, le32(&first[48])}});

    for (int p = 0; p < 3; ++p) {
      const auto copy0 = d.index(p, 0, le32(&b[216]));
      for (int k = 1; k < 4; ++k)
        EXPECT_EQ(RawDisk(dir.file("d.img"), k).index(p, 0, copy0.size()) == copy0,
                  !(p == 1 && k == 2)) << "partition " << p << " copy " << k;
    }
  }
}

// What the library's searches never read back: a hidden event stored but
// left out of its file's summary, the record copy at the head of every used
// data file, a free file's record, the partition's counts, and a picture
// file's channel mask and times (the deleted picture left out).
TEST(RecorderLayout, SummariesTheSearchesDoNotRead) {
  TempDir dir;
  rec::DiskShape disk;
  disk.files_per_partition = 6;
  rec::Recorder r(disk, dir.file("d.img"));
  r.record(4, rec::t("2026-03-02 08:00:00"), rec::t("2026-03-02 08:00:20"), rec::kMotion);
  r.record(4, rec::t("2026-03-09 08:00:00"), rec::t("2026-03-09 08:00:20"), 1ull << 40);
  r.record(4, rec::t("2026-03-20 08:00:00"), rec::t("2026-03-20 08:01:00"), rec::kAlarm,
           {.skip_flag = 1});
  r.record(5, rec::t("2026-03-03 07:00:00"), rec::t("2026-03-03 07:00:05"), rec::kTimed);
  r.record(4, rec::t("2026-04-01 00:00:00"), rec::t("2026-04-01 00:00:05"), rec::kTimed);
  r.snapshot(31, rec::t("2026-03-05 09:00:00"), 4097);
  r.snapshot(40, rec::t("2026-03-06 09:00:00"), 100);
  r.snapshot(70, rec::t("2026-03-07 09:00:00"), 300);
  r.snapshot(5, rec::t("2026-03-08 09:00:00"), 50, {.status = 2});
  r.finish();

  RawDisk d(dir.file("d.img"));
  const auto f1 = d.file_record(0, 1);
  EXPECT_EQ(le16(&f1[6]), 3);  // the hidden event is stored but not summarised
  expect_words(f1, {{16, rec::t("2026-03-02 08:00:00")}, {20, rec::t("2026-03-09 08:00:20")}});
  for (int k = 1; k <= 4; ++k) EXPECT_EQ(d.data(0, k, 0, 336), d.file_record(0, k)) << "file " << k;
  EXPECT_LT(le32(&f1[24]), le32(&d.file_record(0, 3)[24]));  // files close in order
  const auto free_file = d.file_record(0, 5);
  EXPECT_EQ(free_file[10], 0);
  EXPECT_EQ(le32(&free_file[24]), 0u);  // a free file is not open
  expect_words(d.partition(0), {{4, 6u | 2u << 16},  // 6 files, 2 free
                                {16, rec::t("2026-03-02 08:00:00")}, {20, rec::t("2026-04-01 00:00:05")},
                                {24, rec::t("2026-03-05 09:00:00")}, {28, rec::t("2026-03-07 09:00:00")}});

  const auto pics = d.file_record(0, 4);
  EXPECT_EQ(std::pair(int(pics[11]), int(le16(&pics[6]))), std::pair(1, 4));  // every picture counted
  expect_words(pics, {{16, rec::t("2026-03-05 09:00:00")}, {20, rec::t("2026-03-07 09:00:00")}});
  EXPECT_EQ(le64(&pics[304]), 0xFFFFFFFF80000100ull);  // channel 31 and channel 40 (bit 8)
  EXPECT_EQ(le64(&pics[312]), 1ull << 6);               // channel 70
}
