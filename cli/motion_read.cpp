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

// A read per cell of the mask, but only in the rows where the whole row saw
// motion: a day costs at most 24 reads more than one per cell.
HeatMap MotionDay::heat_map(const CellMask &mask) const {
    HeatMap map;
    for (int r = 0; r < kGridRows; ++r) {
        CellMask row{};
        for (int c = 0; c < kGridCols; ++c) {
            map[size_t(r)][size_t(c)] = has_cell(mask, r, c) ? 0 : -1;
            if (has_cell(mask, r, c)) set_cell(row, r, c);
        }
        if (cell_count(row) == 0 || seconds(row) == 0) continue;
        for (int c = 0; c < kGridCols; ++c) {
            if (!has_cell(mask, r, c)) continue;
            CellMask one{};
            set_cell(one, r, c);
            map[size_t(r)][size_t(c)] = seconds(one);
        }
    }
    return map;
}

} // namespace cli
