// rfs repair DISK...: what mounting repairs, found through the copy-on-write
// overlay; with --write the same repair is then made on the disks.
#include <cinttypes>

#include "args.h"
#include "commands.h"
#include "console.h"
#include "disks.h"
#include "errors.h"
#include "json_out.h"
#include "mount_repairs.h"
#include "problems.h"
#include "time_text.h"

namespace cli {

namespace {

const char kUsage[] =
    "usage: rfs repair DISK... [--write] [--json] [--strict] [--verbose]\n"
    "\n"
    "A recorder that loses power while recording leaves the partition it was\n"
    "writing flagged, its events being written still open. The library repairs\n"
    "such a partition whenever it mounts it: each open event is closed at its\n"
    "last key frame (or removed when it has none) and each open record or\n"
    "picture file is closed. This shows, per partition, every such step with its\n"
    "times, and the bytes the mount writes. The repair runs in memory\n"
    "(copy-on-write): nothing reaches the disk.\n"
    "\n"
    "  --write     after the report, make the same repair on the disks that need\n"
    "              it, in the library's own order of writes (a power cut during it\n"
    "              leaves a disk the next mount finishes); a disk whose repair\n"
    "              fails in memory is not written\n"
    "  --json      one JSON document on stdout: {\"disks\": [...], \"written\": [...],\n"
    "              \"problems\": [...]}\n"
    "  --strict    exit 1 when anything could not be read\n"
    "  --verbose   the library's log lines and prints on stderr\n";

void show_event_step(const RfsRepairAction &a) {
    if (a.kind == RFS_REPAIR_EVENT_CLOSED)
        print_out("    event closed    channel %-4u file %-4u event %-4" PRIu32 " %s .. %s%s\n", a.chn, a.file_no,
                  a.count, time_text(a.start).c_str(), time_text(a.end).c_str(),
                  a.flags & RFS_REPAIR_NUMBER_FIXED ? "  (its stored number was put right)" : "");
    else
        print_out("    event removed   channel %-4u file %-4u event %-4" PRIu32 " %s ..  (no key frame to close it at)\n",
                  a.chn, a.file_no, a.count, time_text(a.start).c_str());
}

void show_file_step(const RfsRepairAction &a) {
    std::string range = packed(a.start) ? time_text(a.start) + " .. " + time_text(a.end) : "nothing stored";
    if (a.kind == RFS_REPAIR_RECORD_FILE)
        print_out("    record file     channel %-4u file %-4u closed with %" PRIu32 " event%s, %s, end sequence %" PRIu32 "\n",
                  a.chn, a.file_no, a.count, a.count == 1 ? "" : "s", range.c_str(), a.end_sequence);
    else
        print_out("    picture file                 file %-4u closed with %" PRIu32 " picture%s, %s, end sequence %" PRIu32
                  "%s\n", a.file_no, a.count, a.count == 1 ? "" : "s", range.c_str(), a.end_sequence,
                  a.flags & RFS_REPAIR_NO_END_MARKER ? "  (no end marker: its pictures are not listed)" : "");
}

void show_partition(const PartitionRepair &p) {
    print_out("  partition %d: the recorder was writing it when it stopped; %s\n", p.partition, repair_counts(p).c_str());
    for (const RfsRepairAction &a : p.events) show_event_step(a);
    for (const RfsRepairAction &a : p.files) show_file_step(a);
    if (p.failed())
        print_out("    the partition stays flagged and is not read (--verbose shows why)\n");
    else if (packed(p.outcome.end) == 0)
        print_out("    recordings now: none\n");
    else
        print_out("    recordings now: %s .. %s\n", time_text(p.outcome.start).c_str(), time_text(p.outcome.end).c_str());
}

// What the mount found on each disk, kept once the disks are released so
// that --write can mount them again.
struct Report {
    std::vector<std::string> paths;
    std::vector<DiskRepair> repairs;
    bool nas = false;
    bool written = false; // the mount that found them wrote to the disks

    explicit Report(const MountedDisks &disks) : nas(disks.nas()), written(disks.write()) {
        for (int id = 0; id < disks.count(); ++id) {
            paths.push_back(disks.path(id));
            repairs.push_back(disks.repair(id));
        }
    }
};

// The disks are released before --write mounts them again.
Report find_repairs(const std::vector<std::string> &paths, const MountOptions &options) {
    MountedDisks disks(paths, options);
    return Report(disks);
}

void show_disk(const Report &report, int id) {
    const DiskRepair &r = report.repairs[size_t(id)];
    print_out("disk %d  %s  (%s)\n", id, report.paths[size_t(id)].c_str(), report.nas ? "NAS folder" : "raw image");
    if (r.empty()) print_out("  nothing to repair\n");
    for (const PartitionRepair &p : r.partitions) show_partition(p);
    if (r.bytes != 0)
        print_out("  the mount writes %" PRIu64 " bytes (%s)\n", r.bytes,
                  report.written ? "to the disk" : "in memory: nothing reached the disk");
}

bool repair_failed(const DiskRepair &r) {
    for (const PartitionRepair &p : r.partitions)
        if (p.failed()) return true;
    return false;
}

// What --write did to one disk, against what the report showed.
struct Written {
    int id = 0;
    uint64_t bytes = 0;
    bool same_as_shown = false;
};

std::string disk_text(const Report &report, int id) {
    return "disk " + std::to_string(id) + " (" + report.paths[size_t(id)] + ")";
}

// Mounts again, with writes reaching the disks, the disks whose mount writes
// and whose repair did not fail in memory. False when one was left unwritten.
bool write_repairs(const Report &shown, bool verbose, std::vector<Written> &written) {
    std::vector<int> ids;
    std::vector<std::string> paths;
    bool whole = true;
    for (int id = 0; id < int(shown.paths.size()); ++id) {
        const DiskRepair &r = shown.repairs[size_t(id)];
        // A repair that fails may fail before it writes anything: checked first.
        if (repair_failed(r)) {
            problems().add("repair", disk_text(shown, id) + " is not written: its repair fails in memory");
            whole = false;
            continue;
        }
        if (r.bytes == 0) continue;
        ids.push_back(id);
        paths.push_back(shown.paths[size_t(id)]);
    }
    if (paths.empty()) return whole;
    MountedDisks disks(paths, {true, verbose, -1, false});
    for (size_t j = 0; j < ids.size(); ++j) {
        const DiskRepair &done = disks.repair(int(j)), &preview = shown.repairs[size_t(ids[j])];
        bool same = done.bytes == preview.bytes && done.same_steps(preview);
        if (!same)
            problems().add("repair", disk_text(shown, ids[j]) +
                                         ": the repair written differs from the one shown (rfs repair shows it again)");
        whole = whole && same;
        written.push_back({ids[j], done.bytes, same});
    }
    return whole;
}

void show_written(const Report &shown, const std::vector<Written> &written) {
    print_out("\nwritten (--write):\n");
    if (written.empty()) print_out("  nothing\n");
    for (const Written &w : written)
        print_out("  disk %d  %s: %" PRIu64 " bytes written%s\n", w.id, shown.paths[size_t(w.id)].c_str(), w.bytes,
                  w.same_as_shown ? "; the disk now holds the repair shown above" : ", not the repair shown above");
}

void write_json(const Report &shown, const std::vector<Written> &written, bool write) {
    rfs_json::Writer w = stdout_json();
    w.begin_object().key("disks").begin_array();
    for (size_t id = 0; id < shown.paths.size(); ++id)
        write_disk_repair(w, int(id), shown.paths[id], shown.repairs[id]);
    w.end_array().field("write", write).key("written").begin_array();
    for (const Written &d : written)
        w.begin_object()
            .field("disk", d.id)
            .field("path", shown.paths[size_t(d.id)])
            .field("bytes_written", d.bytes)
            .field("same_as_shown", d.same_as_shown)
            .end_object();
    w.end_array();
    problems().write_json(w);
    w.end_object().finish();
}

} // namespace

void show_repair(const MountedDisks &disks) {
    Report report(disks);
    for (int id = 0; id < disks.count(); ++id) show_disk(report, id);
}

int run_repair(const std::vector<std::string> &words) {
    Args args(words, {{"--write"}, {"--json"}, {"--strict"}, {"--verbose"}});
    if (args.help()) return show_usage(kUsage);
    MountOptions options = mount_options(args);
    const bool write = options.write, json = args.has("--json");
    options.write = false;          // the report comes from the overlay
    options.report_repairs = false; // the repair is the answer here
    const Report shown = find_repairs(args.positional(), options);
    if (!json)
        for (int id = 0; id < int(shown.paths.size()); ++id) show_disk(shown, id);
    std::vector<Written> written;
    bool whole = !write || write_repairs(shown, options.verbose, written);
    if (json)
        write_json(shown, written, write);
    else if (write)
        show_written(shown, written);
    return whole ? 0 : kExitFailure;
}

} // namespace cli
