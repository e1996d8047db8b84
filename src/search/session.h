// The 64 search sessions of g_search: the handle is the index.
#pragma once

#include <cstdint>

#include "frame/alloc.h"
#include "frame/state.h"

namespace rfs {

// Session lists grow by this many records once their first block is full.
constexpr int32_t kListStep = 300;

// A list's capacity (buf_len) grows by kListStep records at a time, as it is
// logged. The block underneath is reserved to the next of 1024 records or
// m * 2^k with m in 4..7 (at most a quarter more than the capacity), so a
// long list is not copied to a new block at every step.
size_t reserved_records(int32_t capacity);

// Makes room for one more record in a session list holding `len` records in
// `cap`: an empty list gets `initial` records, a full one kListStep more.
// False when the memory cannot be had; the list and cap are then unchanged.
template <class Record>
bool grow_list(Record *&list, int32_t &cap, int32_t len, int32_t initial) {
    if (cap > len) return true;
    int32_t want = cap == 0 ? initial : cap + kListStep;
    if (cap == 0 || reserved_records(want) > reserved_records(cap)) {
        size_t bytes = reserved_records(want) * sizeof(Record);
        void *grown = cap == 0 ? rfs_malloc(bytes) : rfs_realloc(list, bytes);
        if (!grown) return false;
        list = static_cast<Record *>(grown);
    }
    cap = want;
    return true;
}

// Claims the lowest free session that has its per-channel arrays, marks it
// 1 (event lists, data_type 0) or 2 (anything else) and gives it a serial
// no earlier claim had. Returns the handle, or -1 when none is free.
int claim_search_session(uint8_t data_type);

// Frees the session's event and picture lists and returns it to the pool.
// Earliest start, latest end, partition-used flags and cursors are left as
// they are. Nothing happens for a free session or a handle above 63.
void release_search_session(uint32_t handle);

} // namespace rfs
