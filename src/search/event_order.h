// Ordering of collected events and the coverage test of the second pass.
#pragma once

#include <cstdint>

#include "frame/time.h"

namespace rfs {

inline PackedTime event_start(const RfsEvent &e) { return pack_time(e.start); }
inline PackedTime event_end(const RfsEvent &e) { return pack_time(e.end); }

// Start key difference as a wrapping signed 32-bit value, then channel.
int compare_events(const RfsEvent &a, const RfsEvent &b);

// Sorts a list by compare_events and numbers each record's sequence.
void sort_event_list(RfsEvent *list, int32_t n);

// Whether a chain of overlapping records of channel chn among the first n of
// a sorted list spans [s0, e0].
bool event_is_covered(PackedTime s0, PackedTime e0, const RfsEvent *list, int32_t n,
                      uint16_t chn);

} // namespace rfs
