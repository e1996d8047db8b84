// Plays one event through a read session and hands every delivered stretch
// of the stored stream to a sink, exactly as the library delivers it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

#include "rfs.h"

namespace cli {

using StreamSink = std::function<void(const uint8_t *data, size_t size)>;

struct StreamResult {
    uint64_t bytes = 0;
    int key_frames = 0; // --keyframes: key frames delivered (reference frames not counted)
    RfsDateTime first_frame{}; // stored time of the first frame delivered (zero: unknown)
};

enum class StreamKind { All, KeyFrames };

// Seeks to the key frame at or before `at` (the event's first key frame when
// `at` precedes it) and delivers the stored stream, or only its key frames
// (each after its reference frame), to the end of the event. The event must
// come from a search that is still open. Throws ToolError.
StreamResult stream_event(const RfsEvent &ev, const RfsDateTime &at, StreamKind kind, const StreamSink &sink);

} // namespace cli
