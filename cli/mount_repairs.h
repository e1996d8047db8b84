// What the library repaired when it mounted a disk. A partition the recorder
// was writing when it lost power is repaired at mount: each event being
// written is closed at its last key frame, or removed when it has none, and
// each open record or picture file is closed (rfs_get_repair_actions).
//
// Every command then shows the repaired view, not the disk as the recorder
// left it, so it says so (report_repairs: one problem line per partition);
// the repair command shows every step (cmd_repair.cpp).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "json_writer.h"
#include "rfs.h"

namespace cli {

struct PartitionRepair {
    int partition = 0;
    std::vector<RfsRepairAction> events; // RFS_REPAIR_EVENT_CLOSED / _REMOVED, in the order taken
    std::vector<RfsRepairAction> files;  // RFS_REPAIR_RECORD_FILE / _PICTURE_FILE
    RfsRepairAction outcome{};           // RFS_REPAIR_PARTITION: files closed, recording range

    bool failed() const { return outcome.flags & RFS_REPAIR_FAILED; }
    int count(uint8_t kind) const;
};

struct DiskRepair {
    std::vector<PartitionRepair> partitions; // those the mount repaired, in order
    uint64_t bytes = 0; // written by the mount: the repairs, and index copies it put right

    bool empty() const { return partitions.empty(); }
    // The event (by disk, partition, file and place) was closed by the repair.
    bool closed(const RfsEvent &ev) const;
    // The same steps, by every field the library reports.
    bool same_steps(const DiskRepair &other) const;
};

// The repair of the last mount of disk `id`, which wrote `bytes`.
DiskRepair read_disk_repair(int id, uint64_t bytes);

// One problem line per repaired partition, naming the recordings removed;
// a partition whose repair failed is reported as unusable elsewhere.
void report_repairs(int id, const std::string &path, const DiskRepair &repair, bool written);

// {"disk", "path", "bytes_written", "partitions": [{"partition", "failed",
//  "files_closed", "records": {"start", "end"}, "events": [{"action":
//  "closed"|"removed", "channel", "file", "event", "start", "end",
//  "number_fixed"}], "files": [{"kind": "record"|"picture", "file",
//  "channel", "events"|"pictures", "end_sequence", "start", "end",
//  "end_marker"}]}]}. Files and events are numbered from 1, as stored.
void write_disk_repair(rfs_json::Writer &w, int id, const std::string &path, const DiskRepair &repair);

// "2 events closed at the last key frame, 1 removed for want of one, ...",
// naming a few of the removed recordings when asked.
std::string repair_counts(const PartitionRepair &p, bool name_removed = false);

} // namespace cli
