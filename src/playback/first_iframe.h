// The first key frame of a channel in a time span (rfs_get_first_iframe).
#pragma once

#include <cstdint>

#include "frame/time.h"
#include "rfs.h"

namespace rfs {

// Finds in event e the oldest key frame at or after `seek` (not after `end`)
// and delivers it, with its reference frame in front when it has one, into
// *buf: the caller's buffer of *len bytes, or a malloc block of exactly the
// frame's size when *buf is null. 0, or a negative code with *len 0 and a
// block this call allocated freed again.
int event_first_iframe(const RfsEvent &e, PackedTime seek, PackedTime end, void **buf, int *len);

} // namespace rfs
