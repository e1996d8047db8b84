// The 64 search sessions of g_search: the handle is the index.
#pragma once

#include <cstdint>

#include "frame/state.h"

namespace rfs {

// Claims the lowest free session that has its per-channel arrays and marks
// it 1 (event lists, data_type 0) or 2 (anything else). Returns the handle,
// or -1 when none is free.
int claim_search_session(uint8_t data_type);

// Frees the session's event and picture lists and returns it to the pool.
// Earliest start, latest end, partition-used flags and cursors are left as
// they are. Nothing happens for a free session or a handle above 63.
void release_search_session(uint32_t handle);

} // namespace rfs
