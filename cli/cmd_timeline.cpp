// rfs timeline DISK... --day YYYY-MM-DD: the day's 48 half hours, one bar
// per record type.
#include "args.h"
#include "browse_search.h"
#include "commands.h"
#include "console.h"
#include "disks.h"
#include "errors.h"
#include "json_out.h"
#include "problems.h"
#include "selection.h"
#include "time_text.h"

namespace cli {

namespace {

const char kUsage[] =
    "usage: rfs timeline DISK... --day YYYY-MM-DD [--channel LIST] [--type MASK|NAME...]\n"
    "                            [--json] [--strict] [--index-copy K] [--write] [--verbose]\n"
    "\n"
    "Shows the day's 48 half hours as one bar per record type: '#' where a\n"
    "recording of that type touches the half hour, '.' where none does. The\n"
    "recorder's timeline keeps the low 32 record-type bits.\n"
    "\n"
    "  --day DAY        YYYY-MM-DD\n"
    "  --channel LIST   channels, e.g. 3 or 0,2,5-7 (default: all)\n"
    "  --type T         record types: a mask (0x6) or names: timed, motion, alarm,\n"
    "                   manual; repeat or join with commas (default: every type)\n"
    "  --json           one JSON document on stdout: {\"day\", \"slots\": [48 type masks],\n"
    "                   \"rows\": [{\"type\", \"bit\", \"slots\": [...]}], \"problems\": [...]}\n"
    "  --strict         exit 1 when anything could not be read or was left out\n"
    "  --index-copy K   read every partition as its index copy K (0..3) holds it, in memory\n"
    "  --write          let the library's repairs reach the disk\n"
    "  --verbose        the library's log lines and prints on stderr\n";

constexpr int kSlots = 48;

// The record-type bits set in any slot, lowest first.
std::vector<int> bits_seen(const RfsDaySlots &slots) {
    uint32_t any = 0;
    for (uint32_t s : slots.slot) any |= s;
    std::vector<int> bits;
    for (int b = 0; b < 32; ++b)
        if (any >> b & 1) bits.push_back(b);
    return bits;
}

std::vector<int> slots_with(const RfsDaySlots &slots, int bit) {
    std::vector<int> out;
    for (int s = 0; s < kSlots; ++s)
        if (slots.slot[s] >> bit & 1) out.push_back(s);
    return out;
}

void write_json(const std::string &day, const RfsDaySlots &slots) {
    rfs_json::Writer w = stdout_json();
    w.begin_object().field("day", day).key("slots").begin_array();
    for (uint32_t s : slots.slot) w.value(s);
    w.end_array().key("rows").begin_array();
    for (int b : bits_seen(slots))
        w.begin_object()
            .field("type", type_names(1ull << b)[0])
            .field("bit", b)
            .field("slots", slots_with(slots, b))
            .end_object();
    w.end_array();
    problems().write_json(w);
    w.end_object().finish();
}

} // namespace

void show_timeline(const std::string &day, const RfsDaySlots &slots) {
    print_out("%s by half hour ('#' recorded)\n\n", day.c_str());
    print_out("  %-8s  00    03    06    09    12    15    18    21\n", "");
    std::vector<int> bits = bits_seen(slots);
    for (int b : bits) {
        std::string bar;
        for (int s = 0; s < kSlots; ++s) bar += slots.slot[s] >> b & 1 ? '#' : '.';
        print_out("  %-8s  %s\n", type_names(1ull << b)[0].c_str(), bar.c_str());
    }
    if (bits.empty()) write_out("  no recordings that day\n");
}

int run_timeline(const std::vector<std::string> &words) {
    Args args(words, disk_options({{"--day", true}, {"--channel", true}, {"--type", true}, {"--json"}}));
    if (args.help()) return show_usage(kUsage);
    const std::string &day = args.value("--day");
    if (day.size() != 10) throw UsageError("bad day '" + day + "' (want YYYY-MM-DD)");
    BrowseQuery q;
    q.from = parse_time_text(day);
    q.to = parse_time_text(day, DateOnly::EndOfDay);
    q.channels = args.has("--channel") ? parse_channel_list(args.value("--channel")) : all_channels();
    if (args.has("--type")) q.types = parse_type_mask(args.values("--type"));
    MountedDisks disks(args.positional(), mount_options(args));
    RfsDaySlots slots = find_day_slots(q);
    if (args.has("--json"))
        write_json(day, slots);
    else
        show_timeline(day, slots);
    return 0;
}

} // namespace cli
