// JSON forms of what the tool reports, for scripts (--json), written as they
// are produced through the streaming writer (json_writer.h) to the checked
// standard output.
#pragma once

#include "json_writer.h"
#include "rfs.h"

namespace cli {

struct DiskView;

// A writer whose text goes to the tool's standard output.
rfs_json::Writer stdout_json();

// {"channel", "start", "end", "types", "type_mask", "size", "disk",
//  "partition", "file", "event", "covered", "flagged", "skipped",
//  "repaired"}: flagged is the recorder's skip_flag 2, skipped its skip_flag
// 1 (listed with --all), repaired an event the mount's repair closed
// (MountedDisks::closed_by_repair)
void write_event(rfs_json::Writer &w, const RfsEvent &ev, bool repaired);

// {"partition", "readable", "state", "repair_flag", "files", "free_files",
//  "records": {"start", "end"}, "pictures": {"start", "end"}} per partition.
void write_partitions(rfs_json::Writer &w, const DiskView &view);

// The members "start" and "end" of an open object: the times of two packed
// words, null for 0 (none).
void write_time_members(rfs_json::Writer &w, uint32_t start, uint32_t end);

} // namespace cli
