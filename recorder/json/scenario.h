// Scenario files: a recorder's day written down in JSON, for people and
// scripts. rfs-mkdisk turns one into a disk.
//
// {
//   "disk": {"data_file_size": "256M", "partitions": 2, "files_per_partition": 40,
//            "nas": false, "labels": true, "headers_only": false, "keep_truth": true,
//            "seed": 1, "index_flags": [15, 15], "fs_type": 0, "switch_a": 0, "switch_b": 0},
//   "defaults": {"fps": 25, "key_interval": 50, "key_bytes": 12000, "p_bytes": 1500,
//                "ref_bytes": 4000, "ref_every": 0, "motion_step": 0, "tail_frames": 0,
//                "skip_flag": 0, "stored_byte_a": 0, "stored_byte_b": 0},
//   "steps": [
//     {"op": "record", "chn": 3, "start": "2026-03-01 10:00:00", "end": "2026-03-01 10:15:00",
//      "type": "motion", ...any recording option...},
//     {"op": "schedule", "channels": 16, "first_chn": 0, "start": "2026-03-01", "days": 7,
//      "events_per_day": 8, "duration": 600, "type": ["timed", "motion"], ...},
//     {"op": "snapshot", "chn": 3, "time": "...", "bytes": 30000, "type": "manual",
//      "status": 1, "extra_word": 0, "extra_byte": 0, "extra_half": 0},
//     {"op": "label", "chn": 3, "time": "...", "text": "door", "state": 1,
//      "extra_word1": 0, "extra_word2": 0, "extra_half": 0},
//     {"op": "interrupt", "chn": 5, "start": "...", "until": "...", "type": "alarm",
//      "cut": "key_frames_written" | "no_key_frame" | "event_closed" | "wrong_event_no"},
//     {"op": "use_partition", "partition": 1},
//     {"op": "disk_state", "state": 3},
//     {"op": "partition_state", "partition": 1, "state": 2},
//     {"op": "repair_flag", "partition": 1, "on": true},
//     {"op": "damage_index", "partition": 0, "copy": 2, "offset": 0, "bytes": [88, 88]}
//   ],
//   "end": "finish" | "power_loss"
// }
//
// Record types are a number, a name (timed, motion, alarm, manual) or a list
// of either. data_file_size is a number or "256M", "512M", "1G".
// "schedule" records every channel events_per_day times a day, spread evenly
// over the day and staggered by 7 s per channel, each `duration` seconds.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "recorder.h"

namespace rec {

// Runs the scenario in `json_text` and writes the disk to `out_path` (a raw
// image, or a NAS directory when the disk says "nas" or `nas` forces it).
// Throws std::invalid_argument on a malformed scenario.
std::unique_ptr<Recorder> run_scenario(const std::string& json_text, const std::string& out_path,
                                       std::optional<bool> nas = std::nullopt);

}  // namespace rec
