// NAS directories, in-memory disks and determinism.
#include <gtest/gtest.h>

#include <filesystem>

#include "disk_view.h"

using namespace rectest;

namespace {

void day(rec::Recorder& r) {
  r.record(0, rec::t("2026-03-01 10:00:00"), rec::t("2026-03-01 10:00:10"), rec::kMotion,
           {.ref_every = 2, .motion_step = 3});
  r.record(1, rec::t("2026-03-01 10:00:05"), rec::t("2026-03-01 10:00:08"), rec::kTimed);
  r.snapshot(1, rec::t("2026-03-01 10:00:06"), 2000);
  r.label(0, rec::t("2026-03-01 10:00:07"), "hello");
}

}  // namespace

TEST(RecorderNas, DirectoryHoldsFourEqualIndexFilesAndFullSizeDataFiles) {
  TempDir dir;
  rec::DiskShape disk;
  disk.data_file_size = rec::kFile512M;
  disk.files_per_partition = 4;
  disk.nas = true;
  rec::Recorder r(disk, dir.file("nas"));
  day(r);
  r.finish();

  for (int n = 0; n < 4; ++n)
    EXPECT_EQ(std::filesystem::file_size(dir.file("nas/file" + std::to_string(n))), rec::kFile512M);
  const std::string index0 = slurp(dir.file("nas/index0"));
  for (int k = 1; k < 4; ++k) EXPECT_EQ(slurp(dir.file("nas/index" + std::to_string(k))), index0);
  // index0 holds the block at 128 and the partition's index area, as a raw
  // image would; its label area offset is 0, the labels are their own file.
  RawDisk index(dir.file("nas/index0"));
  EXPECT_EQ(le32(&index.b[12]) & 0xFF0000FF, 0x07000001u);  // 1 partition, fs type 7
  EXPECT_EQ(le32(&index.b[32]), 0u);
  EXPECT_EQ(index0.size(), index.part_base(0) + le32(&index.b[216]));
  EXPECT_EQ(File(dir.file("nas/file0")).read(0, 336), index.file_record(0, 1));
}

TEST(RecorderOutput, SameDayGivesIdenticalDisksInMemoryOrStreamed) {
  TempDir dir;
  rec::DiskShape disk;
  disk.partitions = 2;
  disk.files_per_partition = 5;
  rec::Recorder streamed(disk, dir.file("a.img")), memory(disk);
  disk.seed = 2;
  rec::Recorder other(disk, dir.file("c.img"));
  for (rec::Recorder* r : {&streamed, &memory, &other}) {
    day(*r);
    r->power_loss();
  }
  memory.write_raw(dir.file("b.img"));  // a second recorder, built in memory
  const File a(dir.file("a.img"));
  EXPECT_TRUE(a.same_as(File(dir.file("b.img"))));
  EXPECT_FALSE(a.same_as(File(dir.file("c.img"))));  // another payload seed
}
