#include "search/session.h"

#include <bit>

namespace rfs {

size_t reserved_records(int32_t capacity) {
    const size_t n = size_t(capacity);
    if (n <= 1024) return n;
    const int shift = std::bit_width(n) - 3; // n >> shift is 4..7
    return ((n + (size_t(1) << shift) - 1) >> shift) << shift;
}

namespace {
uint32_t g_last_serial = 0; // not reset by rfs_init: serials stay unique for the process
} // namespace

int claim_search_session(uint8_t data_type) {
    for (int h = 0; h < kSearchSessions; ++h) {
        SearchSession &s = g_search[h];
        // Without its arrays (their allocation failed at start-up) a session
        // cannot hold lists, so it is never handed out.
        if (s.state != 0 || !s.event_list) continue;
        s.state = data_type == 0 ? 1 : 2;
        if (++g_last_serial == 0) ++g_last_serial;
        s.serial = g_last_serial;
        return h;
    }
    return -1;
}

void release_search_session(uint32_t handle) {
    if (handle >= uint32_t(kSearchSessions)) return;
    SearchSession &s = g_search[handle];
    if (s.state == 0) return;
    free_session_lists(s);
    s.state = 0;
}

} // namespace rfs
