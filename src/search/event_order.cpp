#include "search/event_order.h"

#include <algorithm>

#include "frame/buffer.h"
#include "frame/sort.h"

namespace rfs {

namespace {

// What the order looks at, 12 bytes instead of an 80-byte record whose start
// is packed again at every comparison.
struct SortKey {
    PackedTime start;
    uint16_t chn;
    uint32_t index; // the record's position before sorting
};

// compare_events(a, b) < 0, on keys.
bool before(const SortKey &a, const SortKey &b) {
    int32_t diff = int32_t(a.start - b.start);
    if (diff) return diff < 0;
    return int(a.chn) - int(b.chn) < 0;
}

// Takes the keys and numbers the records as they stand, in one pass; true
// when that is their order already. Starts less than 2^31 apart compare by
// the wrapping difference as they do unsigned: the order is then a strict
// one, and a list whose neighbours are all in order is sorted.
bool take_keys(RfsEvent *list, SortKey *keys, int32_t n) {
    bool ordered = true;
    PackedTime low = kNoTimeYet, high = 0;
    for (int32_t i = 0; i < n; ++i) {
        keys[i] = {event_start(list[i]), list[i].chn, uint32_t(i)};
        list[i].sequence = uint32_t(i);
        if (i > 0 && before(keys[i], keys[i - 1])) ordered = false;
        low = std::min(low, keys[i].start);
        high = std::max(high, keys[i].start);
    }
    return ordered && high - low <= 0x7FFFFFFFu;
}

// Puts record keys[j].index at position j, for every j, moving each record once.
void apply_order(RfsEvent *list, SortKey *keys, int32_t n) {
    for (int32_t i = 0; i < n; ++i) {
        if (keys[i].index == uint32_t(i)) continue;
        RfsEvent held = list[i];
        int32_t j = i;
        while (keys[j].index != uint32_t(i)) {
            int32_t from = int32_t(keys[j].index);
            list[j] = list[from];
            keys[j].index = uint32_t(j);
            j = from;
        }
        list[j] = held;
        keys[j].index = uint32_t(j);
    }
}

} // namespace

int compare_events(const RfsEvent &a, const RfsEvent &b) {
    int32_t diff = int32_t(event_start(a) - event_start(b));
    if (diff) return diff;
    return int(a.chn) - int(b.chn);
}

// The wrapping key difference is not a strict order for starts 32 years or
// more apart (a damaged disk can hold such times): sort_records stays inside
// the list whatever the comparisons answer, so such a list comes out in some
// order instead of running past its ends. Sorting the keys makes the same
// comparisons as sorting the records would, so the records come out in the
// same order; only the moves are cheaper.
void sort_event_list(RfsEvent *list, int32_t n) {
    MallocBuffer buffer(size_t(n) * sizeof(SortKey));
    auto *keys = reinterpret_cast<SortKey *>(buffer.data());
    if (keys && take_keys(list, keys, n)) return;
    if (keys) {
        sort_records(keys, size_t(n), before);
        apply_order(list, keys, n);
    } else {
        sort_records(list, size_t(n), [](const RfsEvent &a, const RfsEvent &b) {
            return compare_events(a, b) < 0;
        });
    }
    for (int32_t i = 0; i < n; ++i) list[i].sequence = uint32_t(i);
}

} // namespace rfs
