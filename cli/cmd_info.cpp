// rfs info DISK...: format, size, partitions and what the disks hold.
#include <algorithm>
#include <cinttypes>

#include "args.h"
#include "commands.h"
#include "console.h"
#include "disk_layout.h"
#include "disks.h"
#include "event_search.h"
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
    "space, and every partition with its state and its recording and picture\n"
    "time ranges; then the time range and channels of all recordings.\n"
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

// What all mounted disks hold: the span of their partitions' record time
// ranges and the channels a search over all time finds events on.
struct Holdings {
    uint32_t start = 0, end = 0; // packed, 0 = no recordings
    std::vector<int> channels;
};

Holdings holdings(const MountedDisks &disks) {
    Holdings h;
    for (int id = 0; id < disks.count(); ++id)
        for (const PartitionView &p : read_disk_view(id).partitions) {
            if (!p.readable || p.record_start == 0) continue;
            h.start = h.start == 0 ? p.record_start : std::min(h.start, p.record_start);
            h.end = std::max(h.end, p.record_end);
        }
    EventSearch search({all_channels(), earliest_time(), latest_time(), ~0ull});
    for (int c = 0; c < kMaxChannels; ++c)
        if (!search.events(c).empty()) h.channels.push_back(c);
    return h;
}

std::string repairs_text(const MountedDisks &disks) {
    bool write = disks.write();
    uint64_t bytes = disks.repaired_bytes();
    if (bytes == 0) return "none: the library changed nothing at mount";
    std::string text = std::to_string(bytes) + " bytes changed by the library at mount";
    return text + (write ? ", written to the disk" : ", kept in memory (--write stores them)");
}

void show_partitions(const DiskView &view) {
    print_out("    part  state  repair  files  free  recordings                                  pictures\n");
    for (const PartitionView &p : view.partitions) {
        if (!p.readable) {
            print_out("    %4d  no readable partition record (index copy %d)\n", p.index, p.copy);
            continue;
        }
        print_out("    %4d  %-5s  %-6s  %5u  %4u  %s .. %-19s  %s .. %s\n", p.index, p.state >= 2 ? "bad" : "ok",
                p.repair_flag == 1 ? "yes" : "no", p.file_nr, p.free_file_nr, packed_time_text(p.record_start).c_str(),
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
    show_partitions(view);
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
    w.end_object();
}

void show_info_json(const MountedDisks &disks) {
    rfs_json::Writer w = stdout_json();
    w.begin_object().key("disks").begin_array();
    for (int id = 0; id < disks.count(); ++id) write_disk(w, disks, id);
    w.end_array();
    Holdings h = holdings(disks);
    w.key("recordings").begin_object();
    write_time_members(w, h.start, h.end);
    w.field("channels", h.channels).end_object();
    w.field("repaired_bytes", disks.repaired_bytes()).field("repairs_written", disks.write());
    problems().write_json(w);
    w.end_object().finish();
}

} // namespace

void show_info(const MountedDisks &disks) {
    for (int id = 0; id < disks.count(); ++id) show_disk(disks, id);
    Holdings h = holdings(disks);
    if (h.end == 0)
        print_out("recordings    none\n");
    else
        print_out("recordings    %s .. %s\n", packed_time_text(h.start).c_str(), packed_time_text(h.end).c_str());
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
