#include "search/cover_index.h"

#include <algorithm>
#include <cstdlib>
#include <new>

#include "frame/alloc.h"
#include "search/event_order.h"

namespace rfs {

namespace {

constexpr uint64_t kLow = 0xFFFFFFFFull;

uint32_t high_word(uint64_t v) { return uint32_t(v >> 32); }

// The walk over one channel's records (positions first..end of keys, each
// holding its record index in the low word), its state written back in place.
void walk_run(const RfsEvent *list, uint64_t *keys, int32_t first, int32_t end) {
    PackedTime lo = 0, hi = 0, top = 0, later_start = 0;
    for (int32_t pos = first; pos < end; ++pos) {
        const RfsEvent &e = list[keys[pos] & kLow];
        PackedTime st = event_start(e), en = event_end(e);
        if (lo <= st && st <= hi) {
            hi = std::max(hi, en);
        } else {
            later_start = std::max(later_start, st);
            lo = st;
            hi = en;
        }
        top = std::max(top, hi);
        keys[pos] = uint64_t(top) << 32 | later_start;
    }
}

} // namespace

CoverIndex::~CoverIndex() {
    std::free(steps_);
    std::free(runs_);
}

bool CoverIndex::build(const RfsEvent *list, int32_t n) {
    std::free(steps_);
    std::free(runs_);
    steps_ = nullptr;
    runs_ = nullptr;
    run_count_ = 0;
    built_ = false;
    if (n > 0) {
        steps_ = static_cast<uint64_t *>(rfs_malloc(size_t(n) * sizeof(uint64_t)));
        if (!steps_) return false;
    }
    // Channel in the high word, list position in the low: sorted, each
    // channel's records in list order.
    for (int32_t i = 0; i < n; ++i) steps_[i] = uint64_t(list[i].chn) << 32 | uint32_t(i);
    std::sort(steps_, steps_ + n);
    int32_t runs = 0;
    for (int32_t i = 0; i < n; ++i)
        if (i == 0 || high_word(steps_[i]) != high_word(steps_[i - 1])) ++runs;
    if (runs > 0) {
        runs_ = static_cast<Run *>(rfs_malloc(size_t(runs) * sizeof(Run)));
        if (!runs_) return false;
    }
    for (int32_t i = 0; i < n;) {
        int32_t j = i;
        while (j < n && high_word(steps_[j]) == high_word(steps_[i])) ++j;
        runs_[run_count_++] = {high_word(steps_[i]), i, j};
        walk_run(list, steps_, i, j);
        i = j;
    }
    built_ = true;
    return true;
}

const CoverIndex::Run *CoverIndex::run_of(uint16_t chn) const {
    const Run *begin = runs_, *end = runs_ + run_count_;
    const Run *r = std::lower_bound(begin, end, uint32_t(chn),
                                    [](const Run &a, uint32_t c) { return a.chn < c; });
    return r != end && r->chn == chn ? r : nullptr;
}

bool CoverIndex::covered(PackedTime s0, PackedTime e0, uint16_t chn) const {
    const Run *run = run_of(chn);
    if (!run) return false;
    if (e0 == 0) return true;
    const uint64_t *begin = steps_ + run->begin, *end = steps_ + run->end;
    const uint64_t *at = std::partition_point(begin, end,
                                              [e0](uint64_t s) { return high_word(s) < e0; });
    return at != end && uint32_t(*at) <= s0;
}

CoverIndexes::~CoverIndexes() {
    if (!indexes_) return;
    for (int c = 0; c < lists_; ++c) indexes_[c].~CoverIndex();
    std::free(indexes_);
}

const CoverIndex *CoverIndexes::of(int c, const RfsEvent *list, int32_t n) {
    if (!indexes_) {
        indexes_ = static_cast<CoverIndex *>(rfs_malloc(size_t(lists_) * sizeof(CoverIndex)));
        if (!indexes_) return nullptr;
        for (int i = 0; i < lists_; ++i) new (&indexes_[i]) CoverIndex;
    }
    CoverIndex &index = indexes_[c];
    if (!index.built() && !index.build(list, n)) return nullptr;
    return &index;
}

} // namespace rfs
