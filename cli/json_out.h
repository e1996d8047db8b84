// JSON forms of what the tool reports, for scripts (--json).
#pragma once

#include <nlohmann/json.hpp>

#include "rfs.h"

namespace cli {

struct DiskView;

// {"channel", "start", "end", "types", "type_mask", "size", "disk",
//  "partition", "file", "event", "covered", "flagged"}
nlohmann::json event_json(const RfsEvent &ev);

// {"partition", "readable", "state", "repair_flag", "files", "free_files",
//  "records": {"start", "end"}, "pictures": {"start", "end"}} per partition.
nlohmann::json partitions_json(const DiskView &view);

// Writes a document to the tool's output, indented, with a final newline.
void print_json(const nlohmann::json &doc);

} // namespace cli
