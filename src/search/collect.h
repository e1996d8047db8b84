// The searches that fill a session's per-channel event lists.
#pragma once

#include <cstdint>

#include "rfs.h"

namespace rfs {

// Collects the stored events that match `param` from every mounted disk into
// session `handle`: disks of groups 0..31 first, then 32..63, where an event
// already spanned by first-pass events of its channel is dropped. Lists are
// appended to, sorted by start time then channel. 0 or a negative code; on
// failure what was stored stays in the session.
int collect_events(uint32_t handle, const RfsSearchParam *param);

// Runs the collection one day at a time, from the day of param's end
// backwards, until channel 0 holds `num` events or the recordings (or the
// caller's start) are passed. Rewrites param's start and end. 0 or -1.
int find_recent_events(uint32_t handle, RfsSearchParam *param, int32_t num);

} // namespace rfs
