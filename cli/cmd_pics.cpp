// rfs pics DISK...: the stored pictures, one line each; --extract DIR writes
// each to a file of its own.
#include <cerrno>
#include <cinttypes>
#include <filesystem>
#include <map>
#include <sys/stat.h>

#include "args.h"
#include "browse_search.h"
#include "commands.h"
#include "console.h"
#include "disks.h"
#include "errors.h"
#include "json_out.h"
#include "problems.h"
#include "safe_output.h"
#include "selection.h"
#include "time_text.h"

namespace cli {

namespace {

const char kUsage[] =
    "usage: rfs pics DISK... [--channel LIST] [--from TIME] [--to TIME] [--type MASK|NAME...]\n"
    "                        [--extract DIR] [--json] [--strict] [--index-copy K] [--write]\n"
    "                        [--verbose]\n"
    "\n"
    "Lists the pictures the recorder stored, by time then channel: disk, channel,\n"
    "time, size, record types, and whether the recorder marked it deleted (a\n"
    "deleted picture is listed, and extracted, all the same).\n"
    "\n"
    "  --channel LIST   channels, e.g. 3 or 0,2,5-7 (default: all)\n"
    "  --from TIME      YYYY-MM-DD HH:MM:SS (or YYYY-MM-DDTHH:MM:SS), or YYYY-MM-DD\n"
    "                   for 00:00:00 (default: the beginning)\n"
    "  --to TIME        inclusive; YYYY-MM-DD means 23:59:59 of that day (default: the end)\n"
    "  --type T         a mask (0x6) or names: timed, motion, alarm, manual; repeat or\n"
    "                   join with commas (default: every type)\n"
    "  --extract DIR    write each picture to DIR (made when missing) as\n"
    "                   chCCC_YYYYMMDD-HHMMSS.jpg (.bin when it is not a JPEG), -2, -3 ...\n"
    "                   added for more pictures of a channel in one second. An existing\n"
    "                   file is never replaced: that picture is skipped and said.\n"
    "  --json           one JSON document on stdout: {\"pictures\": [{\"channel\", \"time\",\n"
    "                   \"size\", \"type_mask\", \"types\", \"deleted\", \"status\", \"disk\",\n"
    "                   \"partition\", \"file\", \"index\", \"offset\", \"extracted\"}],\n"
    "                   \"problems\": [...]}\n"
    "  --strict         exit 1 when anything could not be read or was left out\n"
    "  --index-copy K   read every partition as its index copy K (0..3) holds it, in memory\n"
    "  --write          let the library's repairs reach the disk\n"
    "  --verbose        the library's log lines and prints on stderr\n"
    "\n"
    "At most 5000 pictures, the oldest, come from one search; a longer list is\n"
    "said on stderr, and a narrower --from/--to shows the rest.\n";

constexpr uint8_t kDeleted = 2;

uint64_t type_mask(const RfsPic &p) { return uint64_t(p.type_hi) << 32 | p.type_lo; }

std::string where(const RfsPic &p) {
    return "the picture of channel " + std::to_string(p.pic_chn) + " at " + time_text(p.time);
}

// chCCC_YYYYMMDD-HHMMSS, "-n" for the n-th picture of the same channel and
// second (n > 1), and .jpg when the bytes are a JPEG.
std::string file_name(const RfsPic &p, int n, const std::vector<uint8_t> &data) {
    const RfsDateTime &t = p.time;
    char name[64];
    snprintf(name, sizeof name, "ch%03u_%04d%02d%02d-%02d%02d%02d", unsigned(p.pic_chn), t.year + 2000, t.month,
             t.day, t.hour, t.minute, t.second);
    bool jpeg = data.size() >= 3 && data[0] == 0xFF && data[1] == 0xD8 && data[2] == 0xFF;
    return std::string(name) + (n > 1 ? "-" + std::to_string(n) : "") + (jpeg ? ".jpg" : ".bin");
}

// The folder pictures go to: made when missing, never inside a disk.
std::string extract_folder(const std::string &dir, const MountedDisks &disks) {
    struct stat st;
    if (stat(dir.c_str(), &st) == 0) {
        if (!S_ISDIR(st.st_mode)) throw RefusedOutput("refusing to extract into '" + dir + "': it is not a folder");
        check_output_target(dir + "/x", disks.guarded(), false); // not inside a NAS disk
        return dir;
    }
    std::string made = check_output_target(dir, disks.guarded(), false);
    std::error_code ec;
    std::filesystem::create_directories(made, ec);
    if (ec) throw ToolError("cannot make the folder " + dir + ": " + ec.message());
    return dir;
}

struct Extracted {
    std::vector<std::string> names; // "" where a picture was not written
    int written = 0;
};

// Reads each picture and writes it through the safe output, one at a time.
// The n of a name counts in the list's order, which is fixed, whether or not
// the pictures before were written. A picture that cannot be read or whose
// name is taken is a problem; the rest go on.
Extracted extract(PictureSearch &search, const std::string &dir, const MountedDisks &disks) {
    const std::vector<RfsPic> &pics = search.pictures();
    std::map<std::pair<int, uint32_t>, int> seen;
    Extracted out;
    out.names.assign(pics.size(), "");
    std::vector<uint8_t> data;
    for (size_t i = 0; i < pics.size(); ++i) {
        int n = ++seen[{pics[i].pic_chn, packed(pics[i].time)}];
        if (std::string why = search.read(pics[i], data); !why.empty()) {
            problems().add("pictures", where(pics[i]) + " cannot be read: " + why + "; not extracted");
            continue;
        }
        std::string name = file_name(pics[i], n, data);
        struct stat st;
        if (lstat((dir + "/" + name).c_str(), &st) == 0) {
            problems().add("extract", where(pics[i]) + " is not extracted: " + dir + "/" + name +
                                          " exists, and nothing is overwritten");
            continue;
        }
        try {
            OutputFile file(dir + "/" + name, disks.guarded(), false);
            file.write(data.data(), data.size());
            file.commit();
        } catch (const RefusedOutput &e) {
            problems().add("extract", where(pics[i]) + " is not extracted: " + e.what());
            continue;
        }
        out.names[i] = name;
        ++out.written;
    }
    return out;
}

void show_text(const std::vector<RfsPic> &pics, const Extracted *extracted, const std::string &dir) {
    print_out("%4s  %4s  %-19s  %9s  %-14s\n", "disk", "chn", "time", "bytes", "types");
    for (size_t i = 0; i < pics.size(); ++i) {
        const RfsPic &p = pics[i];
        std::string name = extracted && !extracted->names[i].empty() ? "  -> " + extracted->names[i] : "";
        print_out("%4u  %4u  %s  %9" PRIu32 "  %-14s%s%s\n", unsigned(p.record_id >> 24), unsigned(p.pic_chn),
                  time_text(p.time).c_str(), p.pic_length, type_text(type_mask(p)).c_str(),
                  p.status == kDeleted ? "  (deleted)" : "", name.c_str());
    }
    print_out("%zu picture%s", pics.size(), pics.size() == 1 ? "" : "s");
    if (extracted) print_out(", %d written to %s", extracted->written, dir.c_str());
    write_out("\n");
}

void write_json(const std::vector<RfsPic> &pics, const Extracted *extracted) {
    rfs_json::Writer w = stdout_json();
    w.begin_object().key("pictures").begin_array();
    for (size_t i = 0; i < pics.size(); ++i) {
        const RfsPic &p = pics[i];
        w.begin_object()
            .field("channel", p.pic_chn)
            .field("time", time_text(p.time))
            .field("size", p.pic_length)
            .field("type_mask", type_mask(p))
            .field("types", type_names(type_mask(p)))
            .field("deleted", p.status == kDeleted)
            .field("status", p.status)
            .field("disk", p.record_id >> 24)
            .field("partition", p.record_id >> 16 & 0xFF)
            .field("file", p.record_id & 0xFFFF)
            .field("index", p.table_index)
            .field("offset", p.offset);
        if (extracted) {
            w.key("extracted");
            extracted->names[i].empty() ? w.null() : w.value(extracted->names[i]);
        }
        w.end_object();
    }
    w.end_array();
    problems().write_json(w);
    w.end_object().finish();
}

} // namespace

int run_pics(const std::vector<std::string> &words) {
    Args args(words, disk_options({{"--channel", true}, {"--from", true}, {"--to", true}, {"--type", true},
                                   {"--extract", true}, {"--json"}}));
    if (args.help()) return show_usage(kUsage);
    BrowseQuery q = browse_query(args);
    MountedDisks disks(args.positional(), mount_options(args));
    std::string dir = args.has("--extract") ? extract_folder(args.value("--extract"), disks) : "";
    PictureSearch search(q);
    Extracted extracted;
    if (!dir.empty()) extracted = extract(search, dir, disks);
    const Extracted *e = dir.empty() ? nullptr : &extracted;
    if (args.has("--json"))
        write_json(search.pictures(), e);
    else
        show_text(search.pictures(), e, dir);
    return 0;
}

} // namespace cli
