// Moving through a session's per-channel event lists.
#pragma once

#include <cstdint>

#include "frame/state.h"

namespace rfs {

// The last index of a start-sorted list whose start is at or below the key,
// or -1 when the key lies before record 0. n must be at least 1. With a
// non-zero flag the upper end of the final pair is taken when the key
// reaches its start.
int32_t event_binary_search(const RfsDateTime *key, const RfsEvent *list, int32_t n,
                            int32_t flag);

// The checks the cursor calls and the seek share once handle and channel are
// in range: the session in use (-18) and the channel's list not empty (-20).
int channel_list(uint32_t handle, int32_t chn, SearchSession **out);

} // namespace rfs
