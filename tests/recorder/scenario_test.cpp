// Scenario files: the ready ones in the repository and every step kind.
#include <gtest/gtest.h>

#include "disk_view.h"
#include "scenario.h"

using namespace rectest;

TEST(RecorderScenario, ReadyScenariosWriteWhatTheySay) {
  const std::string here = __FILE__;
  const std::string ready = here.substr(0, here.rfind("/tests/")) + "/recorder/scenarios/";
  TempDir dir;
  const auto demo = rec::run_scenario(slurp(ready + "demo.json"), dir.file("demo.img"));
  EXPECT_EQ(demo->events().size(), 10u);
  EXPECT_EQ(demo->pictures().size(), 4u);
  EXPECT_EQ(demo->labels().size(), 3u);
  EXPECT_EQ(demo->events().back().partition, 1);

  rec::run_scenario(slurp(ready + "power_loss.json"), dir.file("cut.img"));
  rec::run_scenario(slurp(ready + "power_loss.json"), dir.file("nas"), true);
  for (const char* cut : {"cut.img", "nas/index0"})  // the repair flag, raw and NAS
    EXPECT_EQ(RawDisk(dir.file(cut)).partition(0)[11], 1) << cut;
  const auto bench = rec::run_scenario(slurp(ready + "bench.json"), dir.file("bench.img"));
  EXPECT_EQ(bench->events().size(), 32u * 30 * 4);
  EXPECT_TRUE(bench->events()[0].kframes.empty());  // no truth kept for the big disk
}

// Every step kind, including the states a recorder leaves behind: partition 0
// has open files but its repair flag forced off, partition 1 keeps the flag
// the power cut gives it, the unused partition 2 is forced bad and flagged.
TEST(RecorderScenario, EveryStepKindAndItsErrors) {
  TempDir dir;
  const char* text = R"({
    "disk": {"partitions": 3, "files_per_partition": 3, "data_file_size": 805306368,
             "index_flags": [7], "switch_b": 9},
    "defaults": {"fps": 2, "key_interval": 4},
    "steps": [
      {"op": "schedule", "channels": 2, "first_chn": 5, "start": "2026-05-01", "days": 2,
       "events_per_day": 2, "duration": 30, "type": ["alarm", 16]},
      {"op": "use_partition", "partition": 1},
      {"op": "snapshot", "chn": 2, "time": "2026-05-01 01:00:00", "bytes": 10, "status": 2},
      {"op": "label", "chn": 2, "time": "2026-05-01 01:00:00", "text": "x"},
      {"op": "interrupt", "chn": 9, "start": "2026-05-03 00:00:00", "until": "2026-05-03 00:00:09",
       "type": "motion", "cut": "key_frames_written"},
      {"op": "disk_state", "state": 3}, {"op": "partition_state", "partition": 2, "state": 2},
      {"op": "repair_flag", "partition": 0, "on": false},
      {"op": "repair_flag", "partition": 2, "on": true},
      {"op": "damage_index", "partition": 1, "copy": 3, "offset": 0, "bytes": [88]}
    ],
    "end": "power_loss"})";
  const auto r = rec::run_scenario(text, dir.file("d.img"));
  const auto& e = r->events();
  ASSERT_EQ(e.size(), 9u);
  EXPECT_EQ(std::tuple(e[1].chn, e[1].start, e[0].type_mask), std::tuple(6, rec::t("2026-05-01 00:00:07"), rec::kAlarm | 16));
  EXPECT_EQ(e[8].state, rec::EventState::Writing);
  EXPECT_EQ(std::pair(r->pictures()[0].partition, r->labels().size()), std::pair(1, size_t(1)));
  const RawDisk d(dir.file("d.img"));
  expect_words(d.b, {{60, 9}, {64, 805306368}});
  EXPECT_EQ(std::pair(int(d.b[14]), int(d.b[200])), std::pair(3, 7));  // disk state, index flags
  for (int k = 0; k < 4; ++k) {  // each partition's state and repair flag, in every copy
    const RawDisk copy(dir.file("d.img"), k);
    EXPECT_EQ(std::vector<int>({le16(&copy.partition(0)[10]), le16(&copy.partition(1)[10]), le16(&copy.partition(2)[10])}),
              std::vector<int>({0, 0x100, 0x102})) << k;
    EXPECT_EQ(tag(copy.partition(1).data()), k == 3 ? "Xart" : "Part") << k;
  }

  for (const char* broken : {R"({"steps": [{"op": "fly"}]})", R"({"steps": [{"op": "record"}]})",
                             R"({"end": "explode"})", R"({"disk": {"data_file_size": "2G"}})",
                             "not json"})
    EXPECT_THROW(rec::run_scenario(broken, dir.file("x.img")), std::invalid_argument) << broken;
}
