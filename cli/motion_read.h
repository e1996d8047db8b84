// One channel's motion on one day, through the library's motion-area read
// over the events a search found (rfs_read_moarea_oneday): the segments of
// motion in the cells of a mask, and how many seconds each cell saw motion.
#pragma once

#include <cstdint>
#include <vector>

#include "cell_mask.h"
#include "rfs.h"

namespace cli {

class EventSearch;

struct MotionSegment {
    RfsDateTime start{}; // as stored in the segment's first motion record
    RfsDateTime end{};   // its last second: start + seconds - 1
    uint32_t seconds = 0;
};

// Seconds with motion per block of block x block cells (a block side of 1:
// per cell); -1 for a block with no cell in the mask.
struct HeatMap {
    int block = 1;
    std::vector<std::vector<int>> seconds; // kGridRows / block rows of kGridCols / block
};

class MotionDay {
  public:
    // `search` holds the channel's events of the day [from, to] and must stay
    // open while this reads.
    MotionDay(const EventSearch &search, int chn, const RfsDateTime &from, const RfsDateTime &to)
        : search_(search), chn_(chn), from_(from), to_(to) {}

    // Records of matching cells whose times are at most `gap` seconds apart
    // form one segment; a segment never spans two events. Segments that meet
    // the day, in the order of the channel's events. An event whose motion
    // records cannot be read is said in problems(). Throws ToolError.
    std::vector<MotionSegment> segments(const CellMask &mask, int gap) const;
    // Every mark costs a read of the day's motion records, so the blocks are
    // the smallest whose reads stay within kHeatMapReadBudget bytes.
    HeatMap heat_map(const CellMask &mask) const;

    static constexpr uint64_t kHeatMapReadBudget = 256ull << 20;

  private:
    std::vector<MoareaSegment> read(const CellMask &mask, int gap) const;
    int seconds(const CellMask &mask) const;
    uint64_t motion_bytes() const;
    bool in_day(const RfsDateTime &start, const RfsDateTime &end) const;

    const EventSearch &search_;
    int chn_;
    RfsDateTime from_, to_;
};

} // namespace cli
