// rfs ls DISK...: the events that a search finds, one line each.
#include <algorithm>
#include <cinttypes>
#include <set>

#include "args.h"
#include "browse_search.h"
#include "commands.h"
#include "console.h"
#include "disks.h"
#include "errors.h"
#include "event_search.h"
#include "json_out.h"
#include "problems.h"
#include "selection.h"
#include "time_text.h"

namespace cli {

namespace {

const char kUsage[] =
    "usage: rfs ls DISK... [--channel LIST] [--from TIME] [--to TIME] [--type MASK|NAME...]\n"
    "                      [--all] [--json] [--strict] [--index-copy K] [--write] [--verbose]\n"
    "\n"
    "Lists the recorded events that overlap the time range, one line each:\n"
    "disk, channel, start, end, record types and stored size.\n"
    "\n"
    "  --channel LIST   channels, e.g. 3 or 0,2,5-7 (default: all)\n"
    "  --from TIME      YYYY-MM-DD HH:MM:SS (or ISO 8601 YYYY-MM-DDTHH:MM:SS), or\n"
    "                   YYYY-MM-DD for 00:00:00 (default: the beginning)\n"
    "  --to TIME        inclusive; YYYY-MM-DD means 23:59:59 of that day (default: the end)\n"
    "  --type T         a mask (0x6) or names: timed, motion, alarm, manual; repeat or\n"
    "                   join with commas (default: every type)\n"
    "  --all            also the events the recorder flagged to leave out of searches\n"
    "  --json           one JSON document on stdout: {\"events\": [...], \"repairs\": [...],\n"
    "                   \"problems\": [...]}\n"
    "  --strict         exit 1 when anything could not be read or was left out\n"
    "  --index-copy K   read every partition as its index copy K (0..3) holds it, in memory\n"
    "  --write          let the library's repairs reach the disk\n"
    "  --verbose        the library's log lines and prints on stderr\n"
    "\n"
    "Times are the recorder's wall clock, shown as stored. What cannot be read\n"
    "or is left out is said on stderr, one line each; so is a partition the\n"
    "mount repaired (the recorder lost power while writing it): its events are\n"
    "listed as repaired, those closed by the repair marked, and \"repairs\" in\n"
    "--json holds every step (rfs repair shows them).\n";

EventQuery query_from(const Args &args) {
    EventQuery query = browse_query(args);
    query.list_skipped = true; // counted, and shown with --all
    return query;
}

// Events with skip_flag 1 are the recorder's to hide; without --all they are
// left out, and said to be.
void keep_or_count_skipped(std::vector<RfsEvent> &events, bool all) {
    if (all) return;
    auto skipped = [](const RfsEvent &ev) { return ev.skip_flag == 1; };
    long n = std::count_if(events.begin(), events.end(), skipped);
    events.erase(std::remove_if(events.begin(), events.end(), skipped), events.end());
    report_skipped_events(n, "listed (--all lists them)");
}

// Asked channels with nothing in the range: said when the disks hold nothing
// of them at any time (a channel beyond the recorder's).
void report_empty_channels(const EventQuery &query, const std::vector<RfsEvent> &events) {
    std::set<int> seen;
    for (const RfsEvent &ev : events) seen.insert(ev.chn);
    EventQuery wider = query;
    wider.channels.clear();
    for (int c : query.channels)
        if (!seen.count(c)) wider.channels.push_back(c);
    if (wider.channels.empty()) return;
    wider.from = earliest_time();
    wider.to = latest_time();
    wider.types = ~0ull;
    EventSearch ever(wider);
    std::vector<int> never;
    for (int c : wider.channels)
        if (ever.events(c).empty()) never.push_back(c);
    if (never.empty()) return;
    problems().add("channel", std::string(never.size() == 1 ? "channel " : "channels ") + channel_ranges(never) +
                                  ": the disks hold no recordings of " + (never.size() == 1 ? "it" : "them") +
                                  " at any time");
}

// NAS: each listed event's data file must open, or its events cannot be
// played.
void report_missing_data_files(const MountedDisks &disks, const std::vector<RfsEvent> &events) {
    std::set<uint32_t> checked;
    for (const RfsEvent &ev : events) {
        if (!checked.insert(ev.record_id).second) continue;
        if (std::string why = disks.data_file_failure(ev); !why.empty())
            problems().add("data_file", why + "; its events are listed but cannot be played");
    }
}

void write_json(const MountedDisks &disks, const std::vector<RfsEvent> &events) {
    rfs_json::Writer w = stdout_json();
    w.begin_object().key("events").begin_array();
    for (const RfsEvent &ev : events) write_event(w, ev, disks.closed_by_repair(ev));
    w.end_array().key("repairs").begin_array();
    for (int id = 0; id < disks.count(); ++id)
        if (!disks.repair(id).empty()) write_disk_repair(w, id, disks.path(id), disks.repair(id));
    w.end_array();
    problems().write_json(w);
    w.end_object().finish();
}

} // namespace

void show_events(const MountedDisks &disks, const std::vector<RfsEvent> &events) {
    print_out("%4s  %4s  %-19s  %-19s  %-14s  %10s\n", "disk", "chn", "start", "end", "types", "bytes");
    for (const RfsEvent &ev : events)
        print_out("%4u  %4u  %s  %s  %-14s  %10" PRIu32 "%s%s%s\n", unsigned(ev.record_id >> 24), ev.chn,
                  time_text(ev.start).c_str(), time_text(ev.end).c_str(), type_text(ev.record_type).c_str(),
                  ev.data_size, ev.covered ? "  (overwritten)" : "", ev.skip_flag == 1 ? "  (flagged to skip)" : "",
                  disks.closed_by_repair(ev) ? "  (closed by the repair)" : "");
    print_out("%zu event%s\n", events.size(), events.size() == 1 ? "" : "s");
}

int run_ls(const std::vector<std::string> &words) {
    Args args(words, disk_options({{"--channel", true}, {"--from", true}, {"--to", true}, {"--type", true},
                                   {"--json"}, {"--all"}}));
    if (args.help()) return show_usage(kUsage);
    EventQuery query = query_from(args);
    MountedDisks disks(args.positional(), mount_options(args));
    EventSearch search(query);
    std::vector<RfsEvent> events = search.all_events();
    keep_or_count_skipped(events, args.has("--all"));
    if (args.has("--channel")) report_empty_channels(query, events);
    if (disks.nas()) report_missing_data_files(disks, events);
    if (args.has("--json"))
        write_json(disks, events);
    else
        show_events(disks, events);
    return 0;
}

} // namespace cli
