// rfs labels DISK...: the text labels users attached to moments of the
// recordings, one line each.
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
    "usage: rfs labels DISK... [--keyword TEXT] [--channel LIST] [--from TIME] [--to TIME]\n"
    "                          [--json] [--strict] [--index-copy K] [--write] [--verbose]\n"
    "\n"
    "Lists the labels stored on the disks, by time then channel: channel, time\n"
    "and text. Labels the recorder marked deleted are not listed. A text is\n"
    "shown as stored, its first 40 bytes; a byte that is not printable is\n"
    "shown as \\xNN.\n"
    "\n"
    "  --keyword TEXT   only labels whose text contains TEXT (case matters)\n"
    "  --channel LIST   channels, e.g. 3 or 0,2,5-7 (default: all)\n"
    "  --from TIME      YYYY-MM-DD HH:MM:SS (or YYYY-MM-DDTHH:MM:SS), or YYYY-MM-DD\n"
    "                   for 00:00:00 (default: the beginning)\n"
    "  --to TIME        inclusive; YYYY-MM-DD means 23:59:59 of that day (default: the end)\n"
    "  --json           one JSON document on stdout: {\"labels\": [{\"channel\", \"time\",\n"
    "                   \"text\", \"extra_words\", \"extra_half\"}], \"problems\": [...]}\n"
    "  --strict         exit 1 when anything could not be read or was left out\n"
    "  --index-copy K   read every partition as its index copy K (0..3) holds it, in memory\n"
    "  --write          let the library's repairs reach the disk\n"
    "  --verbose        the library's log lines and prints on stderr\n";

// A stored text for a terminal: control and non-ASCII bytes as \xNN, so a
// damaged label cannot move the cursor or change the terminal.
std::string printable(const std::string &text) {
    std::string out;
    for (unsigned char c : text) {
        char hex[8];
        snprintf(hex, sizeof hex, "\\x%02x", c);
        out += c >= 0x20 && c < 0x7F && c != '\\' ? std::string(1, char(c)) : c == '\\' ? "\\\\" : hex;
    }
    return out;
}

void show_text(const std::vector<RfsLabel> &labels) {
    print_out("%4s  %-19s  %s\n", "chn", "time", "text");
    for (const RfsLabel &l : labels)
        print_out("%4u  %s  %s\n", unsigned(l.chn), time_text(l.time).c_str(), printable(label_text(l)).c_str());
    print_out("%zu label%s\n", labels.size(), labels.size() == 1 ? "" : "s");
}

void write_json(const std::vector<RfsLabel> &labels) {
    rfs_json::Writer w = stdout_json();
    w.begin_object().key("labels").begin_array();
    for (const RfsLabel &l : labels)
        w.begin_object()
            .field("channel", l.chn)
            .field("time", time_text(l.time))
            .field("text", label_text(l))
            .field("extra_words", std::vector<uint32_t>{l.extra_word1, l.extra_word2})
            .field("extra_half", l.extra_half)
            .end_object();
    w.end_array();
    problems().write_json(w);
    w.end_object().finish();
}

} // namespace

int run_labels(const std::vector<std::string> &words) {
    Args args(words, disk_options({{"--keyword", true}, {"--channel", true}, {"--from", true}, {"--to", true},
                                   {"--json"}}));
    if (args.help()) return show_usage(kUsage);
    BrowseQuery q = browse_query(args);
    std::string keyword = args.has("--keyword") ? args.value("--keyword") : "";
    MountedDisks disks(args.positional(), mount_options(args));
    report_label_heads(disks);
    std::vector<RfsLabel> labels = find_labels(q, keyword);
    if (args.has("--json"))
        write_json(labels);
    else
        show_text(labels);
    return 0;
}

} // namespace cli
