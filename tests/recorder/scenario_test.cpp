// Scenario files: the ready ones in the repository and every step kind.
#include <gtest/gtest.h>

#include "disk_view.h"
#include "scenario.h"
#include "temp_dir.h"

using namespace rectest;

namespace {

std::string scenario_file(const std::string& name) {
  const std::string here = __FILE__;
  return slurp(here.substr(0, here.rfind("/tests/")) + "/recorder/scenarios/" + name);
}

}  // namespace

TEST(RecorderScenario, ReadyScenariosWriteWhatTheySay) {
  TempDir dir;
  const auto demo = rec::run_scenario(scenario_file("demo.json"), dir / "demo.img");
  EXPECT_EQ(demo->events().size(), 10u);
  EXPECT_EQ(demo->pictures().size(), 4u);
  EXPECT_EQ(demo->labels().size(), 3u);
  RawDisk d(dir / "demo.img");
  for (const auto& ev : demo->events()) {
    EXPECT_TRUE(d.data(ev.partition, ev.file_no, ev.data_start, ev.stream_size) == demo->stream(ev));
    EXPECT_EQ(tag(d.event(ev.partition, ev.file_no, ev.event_no).data()), "Even");
  }
  EXPECT_EQ(demo->events().back().partition, 1);

  const auto cut = rec::run_scenario(scenario_file("power_loss.json"), dir / "cut.img");
  EXPECT_EQ(RawDisk(dir / "cut.img").partition(0)[11], 1);
  const auto nas = rec::run_scenario(scenario_file("power_loss.json"), dir / "nas", true);
  EXPECT_TRUE(nas->spec().nas);
  const auto bench = rec::run_scenario(scenario_file("bench.json"), dir / "bench.img");
  EXPECT_EQ(bench->events().size(), 32u * 30 * 4);
  EXPECT_TRUE(bench->events()[0].kframes.empty());  // no truth kept for the big disk
}

TEST(RecorderScenario, EveryStepKindAndItsErrors) {
  TempDir dir;
  const char* text = R"({
    "disk": {"partitions": 2, "files_per_partition": 3, "data_file_size": 805306368,
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
      {"op": "disk_state", "state": 3},
      {"op": "partition_state", "partition": 0, "state": 2},
      {"op": "repair_flag", "partition": 0, "on": true},
      {"op": "damage_index", "partition": 1, "copy": 3, "offset": 0, "bytes": [88]}
    ],
    "end": "power_loss"})";
  const auto r = rec::run_scenario(text, dir / "d.img");
  ASSERT_EQ(r->events().size(), 9u);
  EXPECT_EQ(r->events()[1].chn, 6);
  EXPECT_EQ(r->events()[1].start, rec::t("2026-05-01 00:00:07"));
  EXPECT_EQ(r->events()[0].type_mask, rec::kAlarm | 16);
  EXPECT_EQ(r->events()[8].state, rec::EventState::Writing);
  EXPECT_EQ(r->pictures()[0].partition, 1);
  RawDisk d(dir / "d.img");
  EXPECT_EQ(le32(&d.blk.b[64]), 805306368u);
  EXPECT_EQ(d.blk.b[200], 7);
  EXPECT_EQ(d.blk.b[14], 3);
  EXPECT_EQ(d.partition(0)[10], 2);
  EXPECT_EQ(d.partition(0)[11], 1);
  EXPECT_EQ(tag(RawDisk(dir / "d.img", 3).partition(1).data()), "Xart");

  for (const char* broken : {R"({"steps": [{"op": "fly"}]})", R"({"steps": [{"op": "record"}]})",
                             R"({"end": "explode"})", R"({"disk": {"data_file_size": "2G"}})",
                             "not json"})
    EXPECT_THROW(rec::run_scenario(broken, dir / "x.img"), std::invalid_argument) << broken;
}
