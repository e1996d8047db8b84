// rfs calendar DISK... --month YYYY-MM: the month as a calendar grid with the
// days that hold recordings (and pictures, labels) marked, and per channel
// the days it recorded.
#include <unistd.h>

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
    "usage: rfs calendar DISK... --month YYYY-MM [--channel LIST] [--type MASK|NAME...]\n"
    "                            [--pictures] [--labels] [--json] [--strict]\n"
    "                            [--index-copy K] [--write] [--verbose]\n"
    "\n"
    "Shows the month as a calendar grid, Monday first, with a mark (*) on each\n"
    "day that holds recordings of the chosen channels and types (and, when\n"
    "asked, pictures or labels); on a terminal the marked days are highlighted.\n"
    "Below the grid: the days of each kind, and per channel the days it recorded.\n"
    "The days come from the recorder's month maps in its file tables, so a\n"
    "recording that began in the month before is not counted in this one.\n"
    "\n"
    "  --month YYYY-MM  the month\n"
    "  --channel LIST   channels, e.g. 3 or 0,2,5-7 (default: all)\n"
    "  --type T         record types: a mask (0x6) or names: timed, motion, alarm,\n"
    "                   manual; repeat or join with commas (default: every type)\n"
    "  --pictures       also the days with pictures, of every channel: the recorder's\n"
    "                   picture tables of a month keep days, not channels\n"
    "  --labels         also the days with labels of the chosen channels\n"
    "  --json           one JSON document on stdout: {\"month\", \"days\", \"records\": [{\"day\",\n"
    "                   \"type_mask\", \"types\"}], \"channels\": [{\"channel\", \"days\"}],\n"
    "                   \"pictures\": [days], \"labels\": [days], \"problems\": [...]}\n"
    "  --strict         exit 1 when anything could not be read or was left out\n"
    "  --index-copy K   read every partition as its index copy K (0..3) holds it, in memory\n"
    "  --write          let the library's repairs reach the disk\n"
    "  --verbose        the library's log lines and prints on stderr\n";

const char *const kMonthNames[] = {"January", "February", "March",     "April",   "May",      "June",
                                   "July",    "August",   "September", "October", "November", "December"};

// "YYYY-MM", years 2000..2063. Throws UsageError.
void parse_month(const std::string &text, int &year, int &month) {
    bool shape = text.size() == 7 && text[4] == '-' &&
                 text.find_first_not_of("0123456789", 0) == 4 && text.find_first_not_of("0123456789", 5) == std::string::npos;
    year = shape ? std::stoi(text.substr(0, 4)) : 0;
    month = shape ? std::stoi(text.substr(5)) : 0;
    if (year < 2000 || year > 2063 || month < 1 || month > 12)
        throw UsageError("bad month '" + text + "' (want YYYY-MM, months 01 to 12, years 2000 to 2063)");
}

bool marked(const MonthDays &m, int d) {
    size_t i = size_t(d - 1);
    return m.record_types[i] != 0 || (!m.pictures.empty() && m.pictures[i]) || (!m.labels.empty() && m.labels[i]);
}

std::vector<int> days_where(const MonthDays &m, auto has) {
    std::vector<int> days;
    for (int d = 1; d <= m.days; ++d)
        if (has(d)) days.push_back(d);
    return days;
}

std::vector<int> channel_days(const MonthDays &m, int chn) {
    return days_where(m, [&](int d) { return (m.channel_days[size_t(chn)] >> d & 1) != 0; });
}

std::vector<int> record_days(const MonthDays &m) {
    return days_where(m, [&](int d) { return m.record_types[size_t(d - 1)] != 0; });
}

std::vector<int> flag_days(const MonthDays &m, const std::vector<bool> &flags) {
    return days_where(m, [&](int d) { return bool(flags[size_t(d - 1)]); });
}

// "1-4,9" or "none".
std::string day_list(const std::vector<int> &days) { return channel_ranges(days); }

void show_grid(const MonthDays &m) {
    const bool highlight = isatty(fileno(out()));
    write_out("  Mo  Tu  We  Th  Fr  Sa  Su\n");
    std::string line(size_t(weekday(m.year, m.month, 1)) * 4, ' ');
    for (int d = 1; d <= m.days; ++d) {
        bool mark = marked(m, d);
        char number[16];
        snprintf(number, sizeof number, "%2d", d);
        line += std::string(" ") + (mark && highlight ? "\033[7m" : "") + number + (mark && highlight ? "\033[0m" : "") +
                (mark ? "*" : " ");
        if (weekday(m.year, m.month, d) == 6 || d == m.days) {
            while (!line.empty() && line.back() == ' ') line.pop_back();
            write_out(line + "\n");
            line.clear();
        }
    }
}

void write_json(const MonthDays &m) {
    rfs_json::Writer w = stdout_json();
    char month[32];
    snprintf(month, sizeof month, "%04d-%02d", m.year, m.month);
    w.begin_object().field("month", std::string(month)).field("days", m.days).key("records").begin_array();
    for (int d : record_days(m)) {
        uint64_t types = m.record_types[size_t(d - 1)];
        w.begin_object().field("day", d).field("type_mask", types).field("types", type_names(types)).end_object();
    }
    w.end_array().key("channels").begin_array();
    for (int c = 0; c < kMaxChannels; ++c)
        if (m.channel_days[size_t(c)] != 0) w.begin_object().field("channel", c).field("days", channel_days(m, c)).end_object();
    w.end_array();
    if (!m.pictures.empty()) w.field("pictures", flag_days(m, m.pictures));
    if (!m.labels.empty()) {
        w.key("labels");
        m.labels_read ? w.value(flag_days(m, m.labels)) : w.null();
    }
    problems().write_json(w);
    w.end_object().finish();
}

struct CalendarRequest {
    int year = 0, month = 0;
    BrowseQuery selection;
    bool pictures = false, labels = false;
};

CalendarRequest request_from(const Args &args) {
    CalendarRequest r;
    parse_month(args.value("--month"), r.year, r.month);
    r.selection.channels = args.has("--channel") ? parse_channel_list(args.value("--channel")) : all_channels();
    if (args.has("--type")) r.selection.types = parse_type_mask(args.values("--type"));
    r.pictures = args.has("--pictures");
    r.labels = args.has("--labels");
    return r;
}

} // namespace

MonthDays read_month(int year, int month, const BrowseQuery &selection, bool pictures, bool labels) {
    MonthDays m;
    m.year = year;
    m.month = month;
    m.days = days_in_month(year, month);
    BrowseQuery q = selection;
    q.from = make_time(year, month, 1, 0, 0, 0);
    q.to = make_time(year, month, m.days, 23, 59, 59);
    find_record_days(q, m);
    if (pictures) find_picture_days(q, m);
    if (labels) find_label_days(q, m);
    return m;
}

void show_calendar(const MonthDays &m) {
    const char *kinds = m.pictures.empty() ? (m.labels.empty() ? "recordings" : "recordings or labels")
                                           : (m.labels.empty() ? "recordings or pictures" : "recordings, pictures or labels");
    print_out("%s %d   (* a day with %s)\n\n", kMonthNames[m.month - 1], m.year, kinds);
    show_grid(m);
    print_out("\n  recordings: %s\n", day_list(record_days(m)).c_str());
    if (!m.pictures.empty()) print_out("  pictures:   %s\n", day_list(flag_days(m, m.pictures)).c_str());
    if (!m.labels.empty())
        print_out("  labels:     %s\n", m.labels_read ? day_list(flag_days(m, m.labels)).c_str() : "cannot be read");
    for (int c = 0; c < kMaxChannels; ++c)
        if (m.channel_days[size_t(c)] != 0) print_out("  channel %3d: %s\n", c, day_list(channel_days(m, c)).c_str());
}

int run_calendar(const std::vector<std::string> &words) {
    Args args(words, disk_options({{"--month", true}, {"--channel", true}, {"--type", true}, {"--pictures"},
                                   {"--labels"}, {"--json"}}));
    if (args.help()) return show_usage(kUsage);
    CalendarRequest r = request_from(args);
    MountedDisks disks(args.positional(), mount_options(args));
    if (r.labels) report_label_heads(disks);
    MonthDays m = read_month(r.year, r.month, r.selection, r.pictures, r.labels);
    if (args.has("--json"))
        write_json(m);
    else
        show_calendar(m);
    return 0;
}

} // namespace cli
