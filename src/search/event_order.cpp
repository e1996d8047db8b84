#include "search/event_order.h"

#include <algorithm>

namespace rfs {

int compare_events(const RfsEvent &a, const RfsEvent &b) {
    int32_t diff = int32_t(event_start(a) - event_start(b));
    if (diff) return diff;
    return int(a.chn) - int(b.chn);
}

void sort_event_list(RfsEvent *list, int32_t n) {
    // The wrapping key difference is not a strict order for starts 32 years
    // or more apart (a damaged disk can hold such times). A merge sort keeps
    // every step inside the runs it merges whatever the comparisons answer,
    // so such a list comes out in some order instead of running past its ends.
    std::stable_sort(list, list + n,
                     [](const RfsEvent &a, const RfsEvent &b) { return compare_events(a, b) < 0; });
    for (int32_t i = 0; i < n; ++i) list[i].sequence = uint32_t(i);
}

bool event_is_covered(PackedTime s0, PackedTime e0, const RfsEvent *list, int32_t n,
                      uint16_t chn) {
    PackedTime lo = 0, hi = 0;
    for (int32_t i = 0; i < n; ++i) {
        if (list[i].chn != chn) continue;
        PackedTime st = event_start(list[i]), en = event_end(list[i]);
        if (lo <= st && st <= hi) {
            hi = std::max(hi, en);
        } else if (s0 < st && e0 > hi) {
            return false;
        } else {
            lo = st;
            hi = en;
        }
        if (e0 <= hi) return true;
    }
    return false;
}

} // namespace rfs
