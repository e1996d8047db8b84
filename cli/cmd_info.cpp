// rfs info DISK...: format, size, partitions and what the disks hold.
#include <algorithm>
#include <cinttypes>

#include "args.h"
#include "commands.h"
#include "console.h"
#include "disk_layout.h"
#include "disks.h"
#include "errors.h"
#include "json_out.h"
#include "problems.h"
#include "selection.h"
#include "time_text.h"

namespace cli {

namespace {

const char kUsage[] =
    "usage: rfs info DISK... [--json] [--strict] [--index-copy K] [--write] [--verbose]\n"
    "\n"
    "Mounts the disks and shows, for each, the format check, the size and free\n"
    "space, and every partition with its state, whether the mount repaired it\n"
    "(the recorder lost power while writing it) and its recording and picture\n"
    "time ranges; then the first and last recording over all the disks, the\n"
    "channels that hold recordings, and what the mount's repairs changed.\n"
    "A folder is a NAS disk, a file a raw image.\n"
    "\n"
    "  --json           one JSON document on stdout, with a \"problems\" list\n"
    "  --strict         exit 1 when anything could not be read\n"
    "  --index-copy K   read every partition as its index copy K (0..3) holds it, in memory\n"
    "  --write          let the library's repairs reach the disk (default: kept in memory)\n"
    "  --verbose        the library's log lines and prints on stderr\n"
    "\n"
    "What cannot be read (a partition, an index copy, the end of an image) is\n"
    "said on stderr, one line each, with the option that may recover it.\n";

struct DiskSize {
    uint32_t total_mb = 0, free_mb = 0;
    uint8_t fs_type = 0;
    int data_file_size = 0;
};

DiskSize disk_size(int id) {
    DiskSize size;
    rfs_get_disk_size(id, &size.total_mb, &size.free_mb, &size.fs_type);
    size.data_file_size = rfs_get_data_file_size(id);
    return size;
}

// What all mounted disks hold, as the library answers it: the first and last
// recording time over every partition's record time range, and the channels
// with at least one whole event at any time.
struct Holdings {
    RfsDateTime start{}, end{}; // all zero: no recordings
    std::vector<int> channels;
};

Holdings holdings() {
    Holdings h;
    int rc = rfs_get_start_end_time(&h.start, &h.end);
    if (rc != 0) problems().add("disk", "the recording time range cannot be read: " + error_text(rc));
    std::vector<uint8_t> bitmap(kMaxChannels / 8);
    rc = rfs_is_chn_have_record(bitmap.data(), earliest_time(), latest_time());
    if (rc != 0)
        problems().add("channel", "the channels with recordings cannot all be read (" + error_text(rc) +
                                      "): those shown are the ones found before");
    for (int c = 0; c < kMaxChannels; ++c)
        if (bitmap[size_t(c / 8)] >> (c % 8) & 1) h.channels.push_back(c);
    return h;
}

// A partition the recorder was writing when it stopped: "repaired" at this
// mount, or still flagged ("yes") when its repair failed.
const char *repair_column(const PartitionView &p, const DiskRepair &repair) {
    for (const PartitionRepair &r : repair.partitions)
        if (r.partition == p.index && !r.failed()) return "repaired";
    return p.repair_flag == 1 ? "yes" : "no";
}

std::string repairs_text(const MountedDisks &disks) {
    std::string steps;
    for (int id = 0; id < disks.count(); ++id)
        for (const PartitionRepair &p : disks.repair(id).partitions)
            steps += "\n              disk " + std::to_string(id) + " partition " + std::to_string(p.partition) + ": " +
                     repair_counts(p);
    uint64_t bytes = disks.repaired_bytes();
    if (bytes == 0) return (steps.empty() ? "none: " : "") + std::string("the library changed nothing at mount") + steps;
    return std::to_string(bytes) + " bytes changed by the library at mount" +
           (disks.write() ? ", written to the disk" : ", kept in memory (--write stores them)") + steps;
}

void show_partitions(const DiskView &view, const DiskRepair &repair) {
    print_out("    part  state  repair    files  free  recordings                                  pictures\n");
    for (const PartitionView &p : view.partitions) {
        if (!p.readable) {
            print_out("    %4d  no readable partition record (index copy %d)\n", p.index, p.copy);
            continue;
        }
        print_out("    %4d  %-5s  %-8s  %5u  %4u  %s .. %-19s  %s .. %s\n", p.index, p.state >= 2 ? "bad" : "ok",
                repair_column(p, repair), p.file_nr, p.free_file_nr, packed_time_text(p.record_start).c_str(),
                packed_time_text(p.record_end).c_str(), packed_time_text(p.picture_start).c_str(),
                packed_time_text(p.picture_end).c_str());
    }
}

void show_disk(const MountedDisks &disks, int id) {
    DiskSize size = disk_size(id);
    DiskView view = read_disk_view(id);
    print_out("disk %d  %s  (%s)\n", id, disks.path(id).c_str(), disks.nas() ? "NAS folder" : "raw image");
    print_out("  format      valid rfs 5.1, file system type %u, disk state %u\n", size.fs_type, view.disk_state);
    print_out("  size        %" PRIu32 " MB, free %" PRIu32 " MB, data files of %d MiB\n", size.total_mb,
            size.free_mb, int(uint32_t(size.data_file_size) >> 20));
    print_out("  partitions  %u\n", view.part_count);
    show_partitions(view, disks.repair(id));
}

void write_disk(rfs_json::Writer &w, const MountedDisks &disks, int id) {
    DiskSize size = disk_size(id);
    DiskView view = read_disk_view(id);
    w.begin_object()
        .field("disk", id)
        .field("path", disks.path(id))
        .field("kind", disks.nas() ? "nas" : "raw")
        .field("format_valid", true)
        .field("fs_type", size.fs_type)
        .field("disk_state", view.disk_state)
        .field("total_mb", size.total_mb)
        .field("free_mb", size.free_mb)
        .field("data_file_size", uint32_t(size.data_file_size));
    w.key("partitions");
    write_partitions(w, view);
    w.key("repair");
    write_disk_repair(w, id, disks.path(id), disks.repair(id));
    w.end_object();
}

void show_info_json(const MountedDisks &disks) {
    rfs_json::Writer w = stdout_json();
    w.begin_object().key("disks").begin_array();
    for (int id = 0; id < disks.count(); ++id) write_disk(w, disks, id);
    w.end_array();
    Holdings h = holdings();
    w.key("recordings").begin_object();
    write_time_members(w, packed(h.start), packed(h.end));
    w.field("channels", h.channels).end_object();
    w.field("repaired_bytes", disks.repaired_bytes()).field("repairs_written", disks.write());
    problems().write_json(w);
    w.end_object().finish();
}

} // namespace

void show_info(const MountedDisks &disks) {
    for (int id = 0; id < disks.count(); ++id) show_disk(disks, id);
    Holdings h = holdings();
    if (packed(h.end) == 0)
        print_out("recordings    none\n");
    else
        print_out("recordings    %s .. %s\n", time_text(h.start).c_str(), time_text(h.end).c_str());
    print_out("channels      %s\n", channel_ranges(h.channels).c_str());
    print_out("repairs       %s\n", repairs_text(disks).c_str());
}

int run_info(const std::vector<std::string> &words) {
    Args args(words, disk_options({{"--json"}}));
    if (args.help()) return show_usage(kUsage);
    MountedDisks disks(args.positional(), mount_options(args));
    if (args.has("--json"))
        show_info_json(disks);
    else
        show_info(disks);
    return 0;
}

} // namespace cli
