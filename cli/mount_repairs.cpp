#include "mount_repairs.h"

#include <algorithm>
#include <cstring>

#include "json_out.h"
#include "problems.h"
#include "time_text.h"

namespace cli {

namespace {

bool is_event(const RfsRepairAction &a) {
    return a.kind == RFS_REPAIR_EVENT_CLOSED || a.kind == RFS_REPAIR_EVENT_REMOVED;
}

bool same_action(const RfsRepairAction &a, const RfsRepairAction &b) {
    return a.kind == b.kind && a.flags == b.flags && a.partition == b.partition && a.chn == b.chn &&
           a.file_no == b.file_no && a.count == b.count && a.end_sequence == b.end_sequence &&
           packed(a.start) == packed(b.start) && packed(a.end) == packed(b.end);
}

bool same_actions(const std::vector<RfsRepairAction> &a, const std::vector<RfsRepairAction> &b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), same_action);
}

std::string plural(int n, const char *one, const char *many) {
    return std::to_string(n) + " " + (n == 1 ? one : many);
}

// The recordings a repair removed, for the problem line: a few named, the
// rest counted.
std::string removed_text(const PartitionRepair &p) {
    constexpr int kNamed = 4;
    std::string text;
    int named = 0, removed = p.count(RFS_REPAIR_EVENT_REMOVED);
    for (const RfsRepairAction &a : p.events) {
        if (a.kind != RFS_REPAIR_EVENT_REMOVED || named == kNamed) continue;
        text += (named++ ? ", " : " (") + std::string("channel ") + std::to_string(a.chn) + " from " + time_text(a.start);
    }
    if (removed > named) text += ", and " + std::to_string(removed - named) + " more";
    return text.empty() ? "" : text + ")";
}

void write_event_step(rfs_json::Writer &w, const RfsRepairAction &a) {
    bool closed = a.kind == RFS_REPAIR_EVENT_CLOSED;
    w.begin_object()
        .field("action", closed ? "closed" : "removed")
        .field("channel", a.chn)
        .field("file", a.file_no)
        .field("event", a.count);
    // A removed event keeps the end it had while being written, which means nothing.
    write_time_members(w, packed(a.start), closed ? packed(a.end) : 0);
    w.field("number_fixed", (a.flags & RFS_REPAIR_NUMBER_FIXED) != 0).end_object();
}

void write_file_step(rfs_json::Writer &w, const RfsRepairAction &a) {
    bool picture = a.kind == RFS_REPAIR_PICTURE_FILE;
    w.begin_object().field("kind", picture ? "picture" : "record").field("file", a.file_no);
    if (picture)
        w.field("pictures", a.count).field("end_marker", (a.flags & RFS_REPAIR_NO_END_MARKER) == 0);
    else
        w.field("channel", a.chn).field("events", a.count);
    w.field("end_sequence", a.end_sequence);
    write_time_members(w, packed(a.start), packed(a.end));
    w.end_object();
}

void write_partition(rfs_json::Writer &w, const PartitionRepair &p) {
    w.begin_object()
        .field("partition", p.partition)
        .field("failed", p.failed())
        .field("files_closed", p.outcome.count);
    w.key("records").begin_object();
    write_time_members(w, packed(p.outcome.start), packed(p.outcome.end));
    w.end_object().key("events").begin_array();
    for (const RfsRepairAction &a : p.events) write_event_step(w, a);
    w.end_array().key("files").begin_array();
    for (const RfsRepairAction &a : p.files) write_file_step(w, a);
    w.end_array().end_object();
}

} // namespace

int PartitionRepair::count(uint8_t kind) const {
    const auto &list = kind == RFS_REPAIR_EVENT_CLOSED || kind == RFS_REPAIR_EVENT_REMOVED ? events : files;
    return int(std::count_if(list.begin(), list.end(), [&](const RfsRepairAction &a) { return a.kind == kind; }));
}

bool DiskRepair::closed(const RfsEvent &ev) const {
    // An event's record id holds its 0-based file index and its place in the
    // file's table; the repair reports both from 1, as the index stores them.
    uint32_t part = ev.record_id >> 16 & 0xFF, file_no = (ev.record_id & 0xFFFF) + 1u, event_no = ev.event_id + 1u;
    for (const PartitionRepair &p : partitions)
        for (const RfsRepairAction &a : p.events)
            if (a.kind == RFS_REPAIR_EVENT_CLOSED && a.partition == part && a.file_no == file_no && a.count == event_no)
                return true;
    return false;
}

bool DiskRepair::same_steps(const DiskRepair &other) const {
    return std::equal(partitions.begin(), partitions.end(), other.partitions.begin(), other.partitions.end(),
                      [](const PartitionRepair &a, const PartitionRepair &b) {
                          return a.partition == b.partition && same_action(a.outcome, b.outcome) &&
                                 same_actions(a.events, b.events) && same_actions(a.files, b.files);
                      });
}

DiskRepair read_disk_repair(int id, uint64_t bytes) {
    DiskRepair repair;
    repair.bytes = bytes;
    int n = rfs_get_repair_actions(id, nullptr, 0);
    if (n <= 0) return repair;
    std::vector<RfsRepairAction> actions(static_cast<size_t>(n));
    n = std::clamp(rfs_get_repair_actions(id, actions.data(), n), 0, n);
    // The steps of one partition end with its RFS_REPAIR_PARTITION action.
    PartitionRepair current;
    for (int i = 0; i < n; ++i) {
        const RfsRepairAction &a = actions[size_t(i)];
        if (a.kind == RFS_REPAIR_PARTITION) {
            current.partition = a.partition;
            current.outcome = a;
            repair.partitions.push_back(std::move(current));
            current = PartitionRepair{};
        } else {
            (is_event(a) ? current.events : current.files).push_back(a);
        }
    }
    return repair;
}

std::string repair_counts(const PartitionRepair &p, bool name_removed) {
    std::string text = p.failed() ? "the repair failed after " : "";
    text += plural(p.count(RFS_REPAIR_EVENT_CLOSED), "event", "events") + " closed at the last key frame, " +
            std::to_string(p.count(RFS_REPAIR_EVENT_REMOVED)) + " removed for want of one" +
            (name_removed ? removed_text(p) : "") + ", " +
            plural(p.count(RFS_REPAIR_RECORD_FILE), "record file", "record files") + " and " +
            plural(p.count(RFS_REPAIR_PICTURE_FILE), "picture file", "picture files") + " closed";
    return text;
}

void report_repairs(int id, const std::string &path, const DiskRepair &repair, bool written) {
    for (const PartitionRepair &p : repair.partitions) {
        if (p.failed()) continue;
        problems().add("repair", "disk " + std::to_string(id) + " (" + path + ") partition " +
                                     std::to_string(p.partition) +
                                     " was being written when the recorder stopped; the mount repaired it " +
                                     (written ? "on the disk" : "in memory (--write stores it)") + ": " +
                                     repair_counts(p, true) + "; rfs repair shows each step");
    }
}

void write_disk_repair(rfs_json::Writer &w, int id, const std::string &path, const DiskRepair &repair) {
    w.begin_object().field("disk", id).field("path", path).field("bytes_written", repair.bytes);
    w.key("partitions").begin_array();
    for (const PartitionRepair &p : repair.partitions) write_partition(w, p);
    w.end_array().end_object();
}

} // namespace cli
