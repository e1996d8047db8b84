// The demo's example: the ready demo scenario (a small mixed disk) written by
// the recorder simulator, which keeps the truth of every byte it stored.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "recorder.h"

namespace cli {

// What the demo reads back: one channel, one day, one moment in an event
// (channel 1 records with reference frames, so playback starts with one).
struct DemoPlan {
    int chn = 1;
    std::string day = "2026-03-01";
    std::string moment = "2026-03-01 09:01:07";
};

struct DemoDisk {
    std::unique_ptr<rec::Recorder> recorder;
    const rec::EventTruth *played = nullptr; // the event that holds the plan's moment
    int channels = 0;
};

// Writes the example raw image at `image`. Throws when the scenario has no
// event that holds the plan's moment.
DemoDisk write_demo_disk(const std::string &image, const DemoPlan &plan);

// The power-cut example (the ready power-loss scenario): the recorder lost
// power while channel `chn` was recording the event that starts at `start`,
// after some of its key frames reached the disk.
struct PowerLossPlan {
    int chn = 0;
    std::string start = "2026-03-01 10:05:00";
};

struct PowerLossDisk {
    std::unique_ptr<rec::Recorder> recorder;
    const rec::EventTruth *cut = nullptr; // the event being written when the power went
};

// Writes the power-cut raw image at `image`. Throws when the plan's event is
// not one the power cut left open with key frames.
PowerLossDisk write_power_loss_disk(const std::string &image, const PowerLossPlan &plan);

// What a repair saves of an event the power cut left open: the stored bytes
// from its first key frame to the end of its last, the key frame the repair
// closes it at.
std::vector<uint8_t> expected_saved(const rec::Recorder &recorder, const rec::EventTruth &cut);

// The key frame a seek at `at` starts from: the latest at or before it, or
// the event's first. Null for an event without key frames.
const rec::KeyFrame *key_frame_at(const rec::EventTruth &ev, rec::PackedTime at);

// The bytes a reader must deliver for `ev` played from the key frame at or
// before `at` (the event's first when none is) to the event's end: the key
// frame's reference frame first when it has one, then the stream from the key
// frame on. Empty when the truth does not describe such a stretch.
std::vector<uint8_t> expected_playback(const rec::Recorder &recorder, const rec::EventTruth &ev, rec::PackedTime at);

} // namespace cli
