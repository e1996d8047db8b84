// rfs motion DISK... --channel N --day DAY: when motion was seen in chosen
// cells of one channel's picture that day, and where.
#include <algorithm>
#include <cinttypes>

#include "args.h"
#include "cell_mask.h"
#include "commands.h"
#include "console.h"
#include "disks.h"
#include "errors.h"
#include "event_search.h"
#include "json_out.h"
#include "motion_read.h"
#include "problems.h"
#include "selection.h"
#include "time_text.h"

namespace cli {

namespace {

const char kUsage[] =
    "usage: rfs motion DISK... --channel N --day YYYY-MM-DD [--cells MASK] [--gap SECONDS]\n"
    "                          [--all] [--json] [--strict] [--index-copy K] [--write] [--verbose]\n"
    "\n"
    "Reads the motion records the recorder stored with one channel's recordings\n"
    "of one day and shows the segments of time in which motion touched the\n"
    "chosen cells, then a heat map: for each cell of the picture, how many\n"
    "seconds of the day saw motion in it. The map costs a read of the day's\n"
    "motion records per cell; on a day with much motion it is drawn in blocks\n"
    "of cells (2 x 2 up to 24 x 24) to keep its reads within 256 MiB.\n"
    "\n"
    "The picture is a grid of 24 x 24 cells, row 0 at the top; cell (row, col)\n"
    "is bit c % 8 of byte c / 8 of the stored 72-byte motion bitmap, with\n"
    "c = row * 24 + col.\n"
    "\n"
    "  --channel N      the channel\n"
    "  --day DAY        YYYY-MM-DD\n"
    "  --cells MASK     the cells that count (default: all):\n"
    "                     ROWS:COLS[,...]  rectangles; ROWS and COLS a number, a range\n"
    "                                      or *: 0-11:* is the top half, 3:4 one cell\n"
    "                     0x<144 hex digits>  the 72 bytes as stored, byte 0 first\n"
    "  --gap SECONDS    records at most this far apart form one segment (default 5)\n"
    "  --all            also the events the recorder flagged to leave out of searches\n"
    "  --json           one JSON document on stdout: {\"recordings\", \"segments\": [...],\n"
    "                   \"heat_map\": {\"block\", \"seconds\": [[row 0], ...]}, \"problems\": [...]}\n"
    "  --strict         exit 1 when anything could not be read or was left out\n"
    "  --index-copy K   read every partition as its index copy K (0..3) holds it, in memory\n"
    "  --write          let the library's repairs reach the disk\n"
    "  --verbose        the library's log lines and prints on stderr\n";

constexpr int kDefaultGap = 5;
constexpr int kMaxGap = 86400;

struct MotionRequest {
    int chn = 0;
    RfsDateTime from{}, to{};
    CellMask cells = all_cells();
    int gap = kDefaultGap;
    bool all = false;
};

int parse_gap(const std::string &text) {
    if (text.empty() || text.size() > 5 || text.find_first_not_of("0123456789") != std::string::npos ||
        std::stoi(text) > kMaxGap)
        throw UsageError("bad gap '" + text + "' (0 to " + std::to_string(kMaxGap) + " seconds)");
    return std::stoi(text);
}

MotionRequest request_from(const Args &args) {
    MotionRequest r;
    std::vector<int> channels = parse_channel_list(args.value("--channel"));
    if (channels.size() != 1) throw UsageError("motion takes one channel");
    r.chn = channels[0];
    const std::string &day = args.value("--day");
    if (day.size() != 10) throw UsageError("bad day '" + day + "' (want YYYY-MM-DD)");
    r.from = parse_time_text(day);
    r.to = parse_time_text(day, DateOnly::EndOfDay);
    if (args.has("--cells")) r.cells = parse_cell_mask(args.value("--cells"));
    if (args.has("--gap")) r.gap = parse_gap(args.value("--gap"));
    r.all = args.has("--all");
    return r;
}

// Without --all the events flagged to skip stay out of the search the motion
// is read from; how many there are is said.
void count_skipped(const MotionRequest &r) {
    if (r.all) return;
    EventSearch every({{r.chn}, r.from, r.to, ~0ull, true});
    std::vector<RfsEvent> events = every.events(r.chn);
    report_skipped_events(std::count_if(events.begin(), events.end(), [](const RfsEvent &e) { return e.skip_flag == 1; }),
                          "included (--all includes them)");
}

uint64_t total_seconds(const std::vector<MotionSegment> &segments) {
    uint64_t n = 0;
    for (const MotionSegment &s : segments) n += s.seconds;
    return n;
}

int busiest(const HeatMap &map) {
    int most = 0;
    for (const auto &row : map.seconds) most = std::max(most, *std::max_element(row.begin(), row.end()));
    return most;
}

// '.' no motion, 1..9 the mark's share of the busiest in ninths (rounded
// up, so any motion shows), blank outside the mask.
char heat_char(int seconds, int most) {
    if (seconds < 0) return ' ';
    if (seconds == 0) return '.';
    return char('0' + (seconds * 9 + most - 1) / most);
}

void show_heat_map(const HeatMap &map) {
    const int most = busiest(map), side = int(map.seconds.size());
    std::string unit = map.block == 1 ? "cell" : "block of " + std::to_string(map.block) + " x " +
                                                     std::to_string(map.block) + " cells";
    print_out("\nheat map: seconds with motion per %s, row 0 at the top ('.' none, 1-9 ninths\n"
              "of the busiest: %d s; blank: outside --cells)\n", unit.c_str(), most);
    if (map.block > 1)
        print_out("(a finer map would read more than %" PRIu64 " MiB of motion records)\n",
                  MotionDay::kHeatMapReadBudget >> 20);
    std::string tens, ones;
    for (int c = 0; c < side; ++c) tens += c % 10 ? ' ' : char('0' + c / 10), ones += char('0' + c % 10);
    print_out("\n        %s\n        %s\n", tens.c_str(), ones.c_str());
    for (int r = 0; r < side; ++r) {
        std::string line;
        for (int seconds : map.seconds[size_t(r)]) line += heat_char(seconds, most);
        print_out("    %2d  %s\n", r, line.c_str());
    }
}

// What the day's motion came to, from how many recordings of the channel.
struct MotionReport {
    size_t recordings = 0;
    std::vector<MotionSegment> segments;
    HeatMap map;
};

void show_text(const MotionRequest &r, const MotionReport &m) {
    print_out("motion on channel %d, %s, from %zu recording%s, in %d of %d cells, records up to %d s apart joined\n",
              r.chn, time_text(r.from).substr(0, 10).c_str(), m.recordings, m.recordings == 1 ? "" : "s",
              cell_count(r.cells), kGridRows * kGridCols, r.gap);
    print_out("  %-19s  %-19s  %7s\n", "start", "end", "seconds");
    for (const MotionSegment &s : m.segments)
        print_out("  %s  %s  %7" PRIu32 "\n", time_text(s.start).c_str(), time_text(s.end).c_str(), s.seconds);
    print_out("%zu segment%s, %" PRIu64 " s of motion\n", m.segments.size(), m.segments.size() == 1 ? "" : "s",
              total_seconds(m.segments));
    show_heat_map(m.map);
}

void write_json(const MotionRequest &r, const MotionReport &m) {
    rfs_json::Writer w = stdout_json();
    w.begin_object()
        .field("channel", r.chn)
        .field("day", time_text(r.from).substr(0, 10))
        .field("recordings", m.recordings)
        .field("cells", mask_hex(r.cells))
        .field("gap", r.gap)
        .key("segments")
        .begin_array();
    const std::vector<MotionSegment> &segments = m.segments;
    const HeatMap &map = m.map;
    for (const MotionSegment &s : segments)
        w.begin_object()
            .field("start", time_text(s.start))
            .field("end", time_text(s.end))
            .field("seconds", s.seconds)
            .end_object();
    w.end_array().field("total_seconds", total_seconds(segments));
    w.key("heat_map").begin_object().field("block", map.block).key("seconds").begin_array();
    for (const auto &row : map.seconds) {
        w.begin_array();
        for (int seconds : row) seconds < 0 ? w.null() : w.value(seconds);
        w.end_array();
    }
    w.end_array().end_object();
    problems().write_json(w);
    w.end_object().finish();
}

} // namespace

int run_motion(const std::vector<std::string> &words) {
    Args args(words, disk_options({{"--channel", true}, {"--day", true}, {"--cells", true}, {"--gap", true},
                                   {"--all"}, {"--json"}}));
    if (args.help()) return show_usage(kUsage);
    MotionRequest r = request_from(args);
    MountedDisks disks(args.positional(), mount_options(args));
    count_skipped(r);
    EventSearch search({{r.chn}, r.from, r.to, ~0ull, r.all});
    MotionDay day(search, r.chn, r.from, r.to);
    MotionReport report{search.events(r.chn).size(), day.segments(r.cells, r.gap), day.heat_map(r.cells)};
    if (args.has("--json"))
        write_json(r, report);
    else
        show_text(r, report);
    return 0;
}

} // namespace cli
