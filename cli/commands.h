// The tool's commands. Each takes the words after its name and returns the
// process exit code; failures are thrown as UsageError or ToolError.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "rfs.h"

namespace cli {

class MountedDisks;

int run_info(const std::vector<std::string> &words);
int run_ls(const std::vector<std::string> &words);
int run_export(const std::vector<std::string> &words);
int run_demo(const std::vector<std::string> &words);
int run_mkdisk(const std::vector<std::string> &words);

// The reports behind info and ls, also shown by the demo.
void show_info(const MountedDisks &disks);
void show_events(const std::vector<RfsEvent> &events);

// What export writes: one channel's events at a moment (the event holding
// it, from the key frame at or before it) or in a range (every event that
// overlaps it, the first from the key frame at or before `from`), each to its
// end. `output` "-" is standard output.
struct ExportRequest {
    int chn = 0;
    bool at_moment = false; // `from` is the moment, `to` unused
    RfsDateTime from{};
    RfsDateTime to{};
    bool key_frames = false;
    std::string output;
};

struct ExportSummary {
    int events = 0;
    uint64_t bytes = 0;
    int key_frames = 0;
    RfsDateTime first_start{}, last_end{};
};

// Runs an export on the disks already mounted. Throws ToolError; a partly
// written output file is removed.
ExportSummary export_events(const ExportRequest &request);

} // namespace cli
