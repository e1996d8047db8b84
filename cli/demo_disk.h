// The demo's example: a recorder's small mixed day written by the recorder
// simulator, which keeps the truth of every byte it stored.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "recorder.h"

namespace cli {

// What the demo reads back: one channel, one day, one moment in an event.
struct DemoPlan {
    int chn = 1;
    std::string day = "2026-03-01";
    std::string moment = "2026-03-01 09:21:07";
};

struct DemoDisk {
    std::unique_ptr<rec::Recorder> recorder;
    const rec::EventTruth *played = nullptr; // the event that holds the plan's moment
    int channels = 0;
};

// Writes the example raw image at `image`.
DemoDisk write_demo_disk(const std::string &image, const DemoPlan &plan);

// The bytes a reader must deliver for `ev` played from the key frame at or
// before `at` (the event's first when none is) to the event's end: the key
// frame's reference frame first when it has one, then the stream from the key
// frame on. Empty when the truth does not describe such a stretch.
std::vector<uint8_t> expected_playback(const rec::Recorder &recorder, const rec::EventTruth &ev, rec::PackedTime at);

} // namespace cli
