// Full files continue in the next file: the library reads whatever the index
// says, so only here would an overfull table or motion area show.
#include <gtest/gtest.h>

#include "disk_view.h"

using namespace rectest;

// Event 257 of a 256 MiB file's table goes to the next file; a motion area
// filled to its last record closes the event on a key frame and the recording
// goes on as a new event in the next file.
TEST(RecorderEvents, FullFilesContinueInTheNextFile) {
  TempDir dir;
  rec::DiskShape disk;
  disk.headers_only = true;
  rec::Recorder r(disk, dir.file("d.img"));
  rec::RecordOptions o{.fps = 1, .key_interval = 1};
  for (int i = 0; i < 257; ++i)
    r.record(7, rec::add_seconds(rec::t("2026-03-01"), 10 * i),
             rec::add_seconds(rec::t("2026-03-01"), 10 * i + 2), rec::kTimed, o);
  o.key_interval = 5;
  o.motion_step = 1;
  const auto made = r.record(2, rec::t("2026-03-02 10:00:00"), rec::t("2026-03-02 18:00:00"),
                             rec::kMotion, o);
  r.finish();
  RawDisk d(dir.file("d.img"));
  EXPECT_EQ(le16(&d.file_record(0, 1)[6]), 256);
  EXPECT_EQ(le16(&d.file_record(0, 2)[6]), 1);
  EXPECT_EQ(tag(d.event(0, 2, 1).data()), "Even");

  ASSERT_EQ(made.size(), 2u);
  EXPECT_EQ(made[1]->file_no, made[0]->file_no + 1);
  EXPECT_EQ(made[1]->start, rec::add_seconds(made[0]->end, 1));
  EXPECT_EQ(made[1]->end, rec::t("2026-03-02 18:00:00"));
  const uint32_t mo_end = le32(&d.event(0, made[0]->file_no, 1)[56]);
  EXPECT_LE(mo_end + 80, r.geometry().motion_end);
  EXPECT_GT(mo_end + 16 * 80, r.geometry().motion_end);  // nearly full
  EXPECT_EQ(tag(d.data(0, made[0]->file_no, mo_end, 8).data(), 8), "MoBitEnd");
  EXPECT_EQ(le32(&d.event(0, made[1]->file_no, 1)[4]), made[1]->start);
}
