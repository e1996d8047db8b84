// The coverage test of the collection's second pass: an event of a disk in
// the group half 32..63 is dropped when a chain of overlapping first-pass
// records of its channel spans it.
//
// The test walks the list's first-pass records of the channel in list order,
// keeping a covered interval [lo, hi] (both 0 at first): a record starting
// inside it extends hi; any other record starts a new interval, unless the
// event begins before that record and ends after hi, which answers "not
// covered"; after each record, an event ending at or before hi is covered.
// Walked per event that costs the list's length per event. But the walk's
// state after each record does not depend on the event, so it is computed
// once per list, and an event's answer is where the walk would first have
// stopped:
//   - the first record after which hi reaches the event's end (the running
//     maximum of hi is non-decreasing, so a binary search finds it), and
//   - whether a record up to there started a new interval at a start later
//     than the event's start (the running maximum of those starts).
// Only a new interval can stop the walk with "not covered", and up to that
// record hi is below the event's end, so the second test is exactly that
// stop. An event ending at 0 is covered by the first record of its channel.
#pragma once

#include <cstdint>

#include "frame/time.h"

namespace rfs {

class CoverIndex {
  public:
    CoverIndex() = default;
    ~CoverIndex();
    CoverIndex(const CoverIndex &) = delete;
    CoverIndex &operator=(const CoverIndex &) = delete;

    // Over the first n records of a list (any order, any channels). False
    // when memory cannot be had.
    bool build(const RfsEvent *list, int32_t n);
    bool built() const { return built_; }
    // Whether the first-pass records of channel chn span [s0, e0].
    bool covered(PackedTime s0, PackedTime e0, uint16_t chn) const;

  private:
    struct Run {
        uint32_t chn;
        int32_t begin, end; // its records' positions in steps_
    };
    const Run *run_of(uint16_t chn) const;

    // Per record, by channel, in list order within a channel: the running
    // maximum of hi << 32 | the running maximum of new-interval starts.
    uint64_t *steps_ = nullptr;
    Run *runs_ = nullptr;
    int32_t run_count_ = 0;
    bool built_ = false;
};

// One CoverIndex per list channel, each built when the second pass first
// needs it.
class CoverIndexes {
  public:
    explicit CoverIndexes(int lists) : lists_(lists) {}
    ~CoverIndexes();
    CoverIndexes(const CoverIndexes &) = delete;
    CoverIndexes &operator=(const CoverIndexes &) = delete;

    // The index over the first n records of list c; null when memory cannot
    // be had.
    const CoverIndex *of(int c, const RfsEvent *list, int32_t n);

  private:
    int lists_;
    CoverIndex *indexes_ = nullptr;
};

} // namespace rfs
