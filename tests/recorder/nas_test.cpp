// NAS directories, in-memory disks and determinism.
#include <gtest/gtest.h>

#include <filesystem>

#include "disk_view.h"
#include "recorder.h"
#include "temp_dir.h"

using namespace rectest;

namespace {

void day(rec::Recorder& r) {
  rec::RecordOptions o;
  o.motion_step = 3;
  o.ref_every = 2;
  r.record(0, rec::t("2026-03-01 10:00:00"), rec::t("2026-03-01 10:00:10"), rec::kMotion, o);
  r.record(1, rec::t("2026-03-01 10:00:05"), rec::t("2026-03-01 10:00:08"), rec::kTimed);
  r.snapshot(1, rec::t("2026-03-01 10:00:06"), 2000);
  r.label(0, rec::t("2026-03-01 10:00:07"), "hello");
}

}  // namespace

TEST(RecorderNas, DirectoryHoldsIndexDataAndLabelFiles) {
  TempDir dir;
  rec::DiskSpec spec;
  spec.nas = true;
  spec.files_per_partition = 4;
  spec.data_file_size = rec::kFile512M;
  rec::Recorder r(spec, dir / "nas");
  day(r);
  r.finish();

  namespace fs = std::filesystem;
  const auto& g = r.geometry();
  for (int n = 0; n < 4; ++n)
    EXPECT_EQ(fs::file_size(dir / ("nas/file" + std::to_string(n))), rec::kFile512M);
  const std::string index0 = slurp(dir / "nas/index0");
  for (int k = 1; k < 4; ++k) EXPECT_EQ(slurp(dir / ("nas/index" + std::to_string(k))), index0);
  const auto* b = reinterpret_cast<const uint8_t*>(index0.data()) + 128;
  EXPECT_EQ(tag(b), "Qkfs");
  EXPECT_EQ(b[15], 7);
  EXPECT_EQ(b[12], 1);
  EXPECT_EQ(le32(b + 32), 0u);  // the label area is its own file
  const uint64_t part = le64(b + 72);
  EXPECT_EQ(tag(reinterpret_cast<const uint8_t*>(index0.data()) + part), "Part");
  EXPECT_EQ(index0.size(), part + le32(b + 216));

  const auto& ev = r.events()[0];
  File data(dir / "nas/file0");
  EXPECT_TRUE(data.read(ev.data_start, ev.stream_size) == r.stream(ev));
  EXPECT_EQ(data.u32(0), 0x656C6946u);  // "File": the record copy at the head
  EXPECT_EQ(g.media_start, 0x1800000u);
  File label(dir / "nas/label0");
  EXPECT_EQ(tag(label.read(4, 4).data()), "LabH");
  EXPECT_EQ(label.size(), 0x200400u);
}

TEST(RecorderOutput, SameDayGivesIdenticalDisksInMemoryOrStreamed) {
  TempDir dir;
  rec::DiskSpec spec;
  spec.files_per_partition = 5;
  spec.partitions = 2;
  rec::Recorder streamed(spec, dir / "a.img");
  rec::Recorder again(spec, dir / "b.img");
  rec::Recorder memory(spec);
  for (rec::Recorder* r : {&streamed, &again, &memory}) {
    day(*r);
    r->power_loss();
  }
  memory.write_raw(dir / "c.img");
  EXPECT_TRUE(same_bytes(dir / "a.img", dir / "b.img"));
  EXPECT_TRUE(same_bytes(dir / "a.img", dir / "c.img"));

  spec.seed = 2;
  rec::Recorder other(spec, dir / "d.img");
  day(other);
  other.power_loss();
  EXPECT_FALSE(same_bytes(dir / "a.img", dir / "d.img"));
}
