// Ordering of collected events.
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

} // namespace rfs
