// Disk parameter block, geometry and index copies.
#include <gtest/gtest.h>

#include "disk_view.h"
#include "recorder.h"
#include "temp_dir.h"

using namespace rectest;

TEST(RecorderTime, PacksAndConvertsAsUtc) {
  EXPECT_EQ(rec::pack_time(2024, 2, 29, 23, 59, 58), 0x60BB7EFAu);
  EXPECT_EQ(rec::t("2024-02-29 23:59:58"), 0x60BB7EFAu);
  EXPECT_EQ(rec::packed_to_unix(rec::t("2023-11-14 22:13:20")), 1700000000);
  EXPECT_EQ(rec::unix_to_packed(1700000000), rec::t("2023-11-14 22:13:20"));
  EXPECT_EQ(rec::add_seconds(rec::t("2024-12-31 23:59:59"), 1), rec::t("2025-01-01 00:00:00"));
  EXPECT_EQ(rec::format_time(0x60BB7EFA), "2024-02-29 23:59:58");
  for (const char* bad : {"2023-02-29 00:00:00", "2024-01-01 24:00:00", "1999-12-31", "x"})
    EXPECT_THROW(rec::t(bad), std::invalid_argument) << bad;
}

// Per data-file size: stored value, effective stride, event table, media start.
struct SizeCase {
  uint32_t stored, stride, table, media_start;
};

TEST(RecorderLayout, BlockAndGeometryForEveryDataFileSize) {
  const SizeCase cases[] = {{0x10000000, 0x10000000, 16384, 0x400000},
                            {0x20000000, 0x20000000, 16384, 0x1800000},
                            {0x40000000, 0x40000000, 32768, 0x1800000},
                            {0x30000000, 0x10000000, 16384, 0x400000}};
  for (const SizeCase& c : cases) {
    TempDir dir;
    rec::DiskSpec spec;
    spec.data_file_size = c.stored;
    spec.partitions = 3;
    spec.files_per_partition = 5;
    spec.index_flags = {0x0F, 0x0A};
    spec.switch_a = 77;
    rec::Recorder r(spec, dir / "d.img");
    r.use_partition(1);
    r.record(2, rec::t("2026-03-01 10:00:00"), rec::t("2026-03-01 10:00:10"), rec::kTimed);
    r.record(2, rec::t("2026-03-01 10:01:00"), rec::t("2026-03-01 10:01:05"), rec::kTimed);
    r.finish();

    RawDisk d(dir / "d.img");
    const auto& b = d.blk.b;
    uint32_t sum = 0;
    for (int off = 0; off < 268; off += 4) sum ^= le32(&b[off]);
    EXPECT_EQ(le32(&b[268]), sum);
    EXPECT_EQ(tag(&b[0]), "Qkfs");
    EXPECT_EQ(le16(&b[16]), 1);  // version 5.1, minor first
    EXPECT_EQ(le16(&b[18]), 5);
    EXPECT_EQ(b[12], 3);
    EXPECT_EQ(b[13], 1);  // the partition being written
    EXPECT_EQ(b[15], 3);
    EXPECT_EQ(le32(&b[64]), c.stored);
    EXPECT_EQ(le32(&b[56]), 77u);
    EXPECT_EQ(b[200], 0x0F);
    EXPECT_EQ(b[201], 0x0A);
    EXPECT_EQ(b[202], 0x0F);
    EXPECT_EQ(d.blk.data_file(1, 2) - d.blk.data_file(1, 1), c.stride);
    EXPECT_GE(d.blk.part_base(1), d.blk.data_file(0, 6));  // partitions do not overlap
    EXPECT_GE(d.blk.event_area_off(), d.blk.file_table_off() + 5 * 336);
    EXPECT_GE(uint64_t(d.blk.copy_size()), d.blk.event_area_off() + 5ull * c.table);
    EXPECT_EQ(d.f.size(), d.blk.part_base(2) + le32(&b[68]) + 5ull * c.stride);

    const auto first = d.event(1, 1, 1);
    const auto second = d.event(1, 1, 2);
    EXPECT_EQ(tag(first.data()), "Even");
    EXPECT_EQ(le32(&first[8]), c.media_start);
    EXPECT_EQ(le32(&first[12]), c.stride);  // the first key-frame entry sits in the last 32 bytes
    EXPECT_EQ(le32(&second[8]), le32(&first[8]) + le32(&first[44]));
    EXPECT_EQ(le32(&second[12]), le32(&first[48]));
  }
}

TEST(RecorderLayout, FourIndexCopiesEqualUnlessDamaged) {
  TempDir dir;
  rec::DiskSpec spec;
  spec.partitions = 2;
  spec.files_per_partition = 4;
  rec::Recorder r(spec, dir / "d.img");
  r.record(0, rec::t("2026-03-01 10:00:00"), rec::t("2026-03-01 10:00:30"), rec::kMotion);
  r.snapshot(0, rec::t("2026-03-01 10:00:10"), 1000);
  r.damage_index_copy(1, 2, 0, {'X'});
  r.finish();

  RawDisk d(dir / "d.img");
  for (int p = 0; p < 2; ++p) {
    const auto copy0 = d.index(p, 0, d.blk.copy_size());
    for (int k = 1; k < 4; ++k) {
      const auto copy = RawDisk(dir / "d.img", k).index(p, 0, d.blk.copy_size());
      EXPECT_EQ(copy == copy0, !(p == 1 && k == 2)) << "partition " << p << " copy " << k;
    }
  }
}

TEST(RecorderLayout, FileAndPartitionSummariesAgreeWithEvents) {
  TempDir dir;
  rec::DiskSpec spec;
  spec.files_per_partition = 6;
  rec::Recorder r(spec, dir / "d.img");
  rec::RecordOptions hidden;
  hidden.skip_flag = 1;
  r.record(4, rec::t("2026-03-02 08:00:00"), rec::t("2026-03-02 08:00:20"), rec::kMotion);
  r.record(4, rec::t("2026-03-09 08:00:00"), rec::t("2026-03-09 08:00:20"), 1ull << 40);
  r.record(4, rec::t("2026-03-20 08:00:00"), rec::t("2026-03-20 08:01:00"), rec::kAlarm, hidden);
  r.record(5, rec::t("2026-03-03 07:00:00"), rec::t("2026-03-03 07:00:05"), rec::kTimed);
  r.record(4, rec::t("2026-04-01 00:00:00"), rec::t("2026-04-01 00:00:05"), rec::kTimed);
  r.finish();

  RawDisk d(dir / "d.img");
  const auto f1 = d.file_record(0, 1);
  EXPECT_EQ(tag(f1.data()), "File");
  EXPECT_EQ(le16(&f1[6]), 3);  // the hidden event is stored but not summarised
  EXPECT_EQ(le16(&f1[8]), 4);
  EXPECT_EQ(f1[10], 2);
  EXPECT_EQ(le32(&f1[16]), rec::t("2026-03-02 08:00:00"));
  EXPECT_EQ(le32(&f1[20]), rec::t("2026-03-09 08:00:20"));
  EXPECT_EQ(le32(&f1[40 + 4 * 1]), 1u << 1);              // motion on the 2nd
  EXPECT_EQ(le32(&f1[40 + 4 * 31]), 1u << 8);             // type 40 shows in words 31 and 63
  EXPECT_EQ(le32(&f1[40 + 4 * 63]), 1u << 8);
  EXPECT_EQ(le32(&f1[40 + 4 * 33]), 1u << 1);             // words 32..63 repeat 0..31
  EXPECT_EQ(le32(&f1[40 + 4 * 2]), 0u);                   // the hidden alarm leaves no mark
  const auto last = d.event(0, 1, 3);
  EXPECT_EQ(le32(&f1[28]), le32(&last[8]) + le32(&last[44]));  // data_end
  EXPECT_EQ(le32(&f1[32]), le32(&last[48]));                    // index_pos
  EXPECT_EQ(d.data(0, 1, 0, 336), f1);  // the copy at the head of the data file

  // Channel 5 has file 2, April starts file 3 for channel 4; files close in order.
  EXPECT_EQ(le16(&d.file_record(0, 2)[8]), 5);
  EXPECT_EQ(le32(&d.file_record(0, 3)[16]), rec::t("2026-04-01 00:00:00"));
  EXPECT_LT(le32(&f1[24]), le32(&d.file_record(0, 3)[24]));
  EXPECT_EQ(d.file_record(0, 4)[10], 0);
  EXPECT_EQ(le32(&d.file_record(0, 4)[24]), 0u);  // a free file is not open

  const auto part = d.partition(0);
  EXPECT_EQ(tag(part.data()), "Part");
  EXPECT_EQ(le16(&part[4]), 6);
  EXPECT_EQ(le16(&part[6]), 3);
  EXPECT_EQ(part[11], 0);
  EXPECT_EQ(le32(&part[16]), rec::t("2026-03-02 08:00:00"));
  EXPECT_EQ(le32(&part[20]), rec::t("2026-04-01 00:00:05"));
}
