#include "motion_read.h"

#include <algorithm>

#include "disks.h"
#include "errors.h"
#include "event_search.h"
#include "problems.h"
#include "time_text.h"

namespace cli {

namespace {

// The library reads every event of the day and passes over one whose motion
// records it cannot read, saying why only in its log: these lines become
// problems.
struct Unread {
    const char *line_start;
    const char *why;
};

const Unread kUnread[] = {
    {"write moarea err, range", "an event's motion records are said to lie outside the motion area"},
    {"read moarea err", "an event's motion records could not be read"},
    {"data had already recovered", "an event was overwritten since the search"},
    {"open ", "an event's data file does not open"},
};

void report_unread(const LibraryLines &log, int chn) {
    for (const std::string &line : log.lines())
        for (const Unread &u : kUnread)
            if (line.rfind(u.line_start, 0) == 0) {
                problems().add("motion", "channel " + std::to_string(chn) + ": " + u.why +
                                             "; its motion is not shown (the library says: " + line + ")");
                break;
            }
}

// Hands the library's segment array back however the read ends.
struct Segments {
    MoareaResult result{};
    ~Segments() { rfs_read_moarea_stop(&result); }
};

} // namespace

std::vector<MoareaSegment> MotionDay::read(const CellMask &mask, int gap) const {
    Segments out;
    int rc = rfs_read_moarea_oneday(search_.handle(), chn_, mask.data(), gap, &out.result);
    if (rc == RFS_ERR_NO_EVENTS) return {}; // no recording of the channel that day
    if (rc != 0) throw ToolError("the motion read failed: " + error_text(rc));
    if (!out.result.segments || out.result.count <= 0) return {};
    return std::vector<MoareaSegment>(out.result.segments, out.result.segments + out.result.count);
}

bool MotionDay::in_day(const RfsDateTime &start, const RfsDateTime &end) const {
    return packed(start) <= packed(to_) && packed(end) >= packed(from_);
}

std::vector<MotionSegment> MotionDay::segments(const CellMask &mask, int gap) const {
    LibraryLines log;
    std::vector<MotionSegment> out;
    for (const MoareaSegment &s : read(mask, gap)) {
        // The library counts at least the first record's second.
        uint32_t seconds = std::max<uint32_t>(s.duration, 1);
        RfsDateTime end = add_seconds(s.start, int64_t(seconds) - 1);
        if (in_day(s.start, end)) out.push_back({s.start, end, seconds});
    }
    report_unread(log, chn_);
    return out;
}

// With no gap every record is a segment of its own: the seconds of the day
// in which any cell of the mask saw motion.
int MotionDay::seconds(const CellMask &mask) const {
    int n = 0;
    for (const MoareaSegment &s : read(mask, 0)) n += in_day(s.start, s.start);
    return n;
}

// The bytes of motion records one read of the day goes through: each
// event's stored range, of which the library reads no more than a data
// file's motion area holds.
uint64_t MotionDay::motion_bytes() const {
    constexpr uint64_t kLargestMotionArea = 0x800000 - 0x1000;
    uint64_t total = 0;
    for (const RfsEvent &ev : search_.events(chn_))
        if (ev.stored_word56 > ev.stored_word28)
            total += std::min<uint64_t>(ev.stored_word56 - ev.stored_word28, kLargestMotionArea);
    return total;
}

namespace {

// The cells of the mask in rows [r0, r0 + rows) and columns [c0, c0 + cols).
CellMask within(const CellMask &mask, int r0, int rows, int c0, int cols) {
    CellMask part{};
    for (int r = r0; r < r0 + rows; ++r)
        for (int c = c0; c < c0 + cols; ++c)
            if (has_cell(mask, r, c)) set_cell(part, r, c);
    return part;
}

// The reads of a map of blocks of `block` cells a side: one per row of
// blocks that holds cells of the mask (a row without motion spares its
// blocks), and one per block that holds some.
uint64_t heat_map_reads(const CellMask &mask, int block) {
    uint64_t reads = 0;
    for (int r = 0; r < kGridRows; r += block) {
        CellMask row = within(mask, r, block, 0, kGridCols);
        reads += cell_count(row) != 0;
        for (int c = 0; c < kGridCols; c += block) reads += cell_count(within(row, r, block, c, block)) != 0;
    }
    return reads;
}

int block_side(const CellMask &mask, uint64_t motion_bytes) {
    for (int block : {1, 2, 3, 4, 6, 8, 12})
        if (heat_map_reads(mask, block) * motion_bytes <= MotionDay::kHeatMapReadBudget) return block;
    return 24;
}

} // namespace

HeatMap MotionDay::heat_map(const CellMask &mask) const {
    HeatMap map;
    map.block = block_side(mask, motion_bytes());
    const int b = map.block, side = kGridRows / b;
    map.seconds.assign(size_t(side), std::vector<int>(size_t(side), -1));
    for (int r = 0; r < side; ++r) {
        CellMask row = within(mask, r * b, b, 0, kGridCols);
        bool moved = cell_count(row) != 0 && seconds(row) != 0;
        for (int c = 0; c < side; ++c) {
            CellMask cells = within(row, r * b, b, c * b, b);
            if (cell_count(cells) != 0) map.seconds[size_t(r)][size_t(c)] = moved ? seconds(cells) : 0;
        }
    }
    return map;
}

} // namespace cli
