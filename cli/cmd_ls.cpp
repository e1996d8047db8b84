// rfs ls DISK...: the events that a search finds, one line each.
#include <cinttypes>

#include "args.h"
#include "commands.h"
#include "console.h"
#include "disks.h"
#include "errors.h"
#include "event_search.h"
#include "json_out.h"
#include "selection.h"
#include "time_text.h"

namespace cli {

namespace {

const char kUsage[] =
    "usage: rfs ls DISK... [--channel LIST] [--from TIME] [--to TIME]\n"
    "                      [--type MASK|NAME...] [--json] [--write] [--verbose]\n"
    "\n"
    "Lists the recorded events that overlap the time range, one line each:\n"
    "disk, channel, start, end, record types and stored size.\n"
    "\n"
    "  --channel LIST   channels, e.g. 3 or 0,2,5-7 (default: all)\n"
    "  --from TIME      YYYY-MM-DD HH:MM:SS, or YYYY-MM-DD for 00:00:00 (default: the beginning)\n"
    "  --to TIME        inclusive; YYYY-MM-DD means 23:59:59 of that day (default: the end)\n"
    "  --type T         a mask (0x6) or names: timed, motion, alarm, manual; repeat or\n"
    "                   join with commas (default: every type)\n"
    "  --json           a JSON array on stdout\n"
    "  --write          let the library's repairs reach the disk\n"
    "  --verbose        library log lines on stderr\n"
    "\n"
    "Times are the recorder's wall clock, shown as stored.\n";

EventQuery query_from(const Args &args) {
    EventQuery query;
    query.channels = args.has("--channel") ? parse_channel_list(args.value("--channel")) : all_channels();
    query.from = args.has("--from") ? parse_time_text(args.value("--from")) : earliest_time();
    query.to = args.has("--to") ? parse_time_text(args.value("--to"), DateOnly::EndOfDay) : latest_time();
    if (args.has("--type")) query.types = parse_type_mask(args.values("--type"));
    if (packed(query.to) < packed(query.from)) throw UsageError("--to is before --from");
    return query;
}

} // namespace

void show_events(const std::vector<RfsEvent> &events) {
    print_out("%4s  %4s  %-19s  %-19s  %-14s  %10s\n", "disk", "chn", "start", "end", "types", "bytes");
    for (const RfsEvent &ev : events)
        print_out("%4u  %4u  %s  %s  %-14s  %10" PRIu32 "%s\n", unsigned(ev.record_id >> 24), ev.chn,
                time_text(ev.start).c_str(), time_text(ev.end).c_str(), type_text(ev.record_type).c_str(),
                ev.data_size, ev.covered ? "  (overwritten)" : "");
    print_out("%zu event%s\n", events.size(), events.size() == 1 ? "" : "s");
}

int run_ls(const std::vector<std::string> &words) {
    Args args(words, {{"--channel", true}, {"--from", true}, {"--to", true}, {"--type", true},
                      {"--json"}, {"--write"}, {"--verbose"}});
    if (args.help()) return show_usage(kUsage);
    EventQuery query = query_from(args);
    MountedDisks disks(args.positional(), {args.has("--write"), args.has("--verbose")});
    EventSearch search(query);
    std::vector<RfsEvent> events = search.all_events();
    if (!args.has("--json")) {
        show_events(events);
        return 0;
    }
    rfs_json::Writer w = stdout_json();
    w.begin_array();
    for (const RfsEvent &ev : events) write_event(w, ev);
    w.end_array().finish();
    return 0;
}

} // namespace cli
