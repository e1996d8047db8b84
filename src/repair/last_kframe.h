// Finding where an event that was being written can be closed: its newest
// key-frame index entry and the end of its motion records.
#pragma once

#include <cstdint>

#include "disk/layout.h"
#include "frame/buffer.h"

namespace rfs {

class RepairDataFile;

constexpr uint32_t kKframeBlock = 65536; // bytes of key-frame index read at a time
constexpr int kKframeSlots = kKframeBlock / iframe_entry::kSize;

enum class KframeSearch { found, none, read_failed };

struct LastKframe {
    uint8_t entry[iframe_entry::kSize]; // the newest entry
    uint32_t pos;                       // its data-file offset (last_iframe_pos)
};

// Scans the key-frame index down from the event's iframe_top, 64 KiB at a
// time up to `blocks` blocks, for the "Iend" marker below the newest entry;
// an iframe_top beyond the data file (of file_size bytes) has none.
// `block` is a 64 KiB scratch buffer. Logs "this is impossible,bad luck!\n",
// "can't find last iframe\n" (none) or "read iframe failed\n" (read_failed).
KframeSearch find_last_kframe(const RepairDataFile &f, const uint8_t *event, int blocks,
                              uint32_t file_size, uint8_t *block, LastKframe *out);

// Whether the newest entry agrees with the event and with the frame it names:
// the key frame lies inside the event's media, below the entry, no earlier
// than the event's start, and its stored header carries the entry's time.
// Logs why not. A failed header read is a read failure (-1); 1 agrees, 0 not.
int kframe_agrees(const RepairDataFile &f, const uint8_t *event, const LastKframe &kf,
                  int chn);

// Scans the motion records from the event's moarea_start up to `end` for the
// "MoBitEnd" marker and stores its position as the event's moarea_end (or
// moarea_start when there is none). 0 found, -1 not found, -12 no memory,
// -15 read error (the event then unchanged).
int find_motion_end(int fd, uint8_t *event, uint64_t base, int end);

} // namespace rfs
