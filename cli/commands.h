// The tool's commands. Each takes the words after its name and returns the
// process exit code; failures are thrown as UsageError, RefusedOutput or
// ToolError (errors.h).
//
// The pieces a command is made of, so that every command is as safe:
//  - Args with disk_options() / mount_options() and MountedDisks (disks.h):
//    --write, --verbose, --strict, --index-copy, the disks mounted read-only;
//  - problems() (problems.h): whatever is not read or not shown, one line on
//    stderr, the "problems" list of --json, exit 1 with --strict;
//  - print_out() / write_out() (console.h): the only way to standard output,
//    every write checked;
//  - stdout_json() (json_out.h): --json streamed, ending with
//    problems().write_json();
//  - OutputFile (safe_output.h): every file the tool writes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "browse_search.h"
#include "rfs.h"
#include "safe_output.h"

namespace cli {

class MountedDisks;

int run_info(const std::vector<std::string> &words);
int run_ls(const std::vector<std::string> &words);
int run_export(const std::vector<std::string> &words);
int run_demo(const std::vector<std::string> &words);
int run_mkdisk(const std::vector<std::string> &words);
int run_repair(const std::vector<std::string> &words);
int run_motion(const std::vector<std::string> &words);
int run_calendar(const std::vector<std::string> &words);
int run_timeline(const std::vector<std::string> &words);
int run_pics(const std::vector<std::string> &words);
int run_labels(const std::vector<std::string> &words);

// The reports behind info and ls, also shown by the demo.
void show_info(const MountedDisks &disks);
void show_events(const MountedDisks &disks, const std::vector<RfsEvent> &events);
// What the mount of each disk repaired, step by step (rfs repair).
void show_repair(const MountedDisks &disks);
// The month's days by kind (calendar): recordings of the selection's
// channels and types, and pictures and labels when asked; and how they show.
MonthDays read_month(int year, int month, const BrowseQuery &selection, bool pictures, bool labels);
void show_calendar(const MonthDays &month);
// The day's half hours as one bar per record type (timeline).
void show_timeline(const std::string &day, const RfsDaySlots &slots);

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
    bool force = false;               // an existing output file may be replaced
    std::vector<GuardedDisk> guarded; // the disks, which no output may be
    bool first_key_frame = false;     // only the first key frame in [from, to]
};

struct ExportSummary {
    int events = 0;
    uint64_t bytes = 0;
    int key_frames = 0;
    RfsDateTime first_frame{}; // of the first frame written (a key frame may precede the asked time)
    RfsDateTime last_end{};
};

// Runs an export on the disks already mounted, through the safe output
// (safe_output.h): the target appears only when the export is whole. Throws
// ToolError (or RefusedOutput), naming a data file that does not open; an
// event that ends before its recorded size is reported to problems().
ExportSummary export_events(const ExportRequest &request, const MountedDisks &disks);

// The first key frame of the channel at or after `from` and not after `to`,
// after its reference frame when it has one, as the library's lookup
// delivers it, through the safe output. Throws ToolError when there is none
// or it cannot be read.
struct KeyFrameSummary {
    int bytes = 0;
    bool timed = false;     // the delivery starts with a whole frame header
    RfsDateTime first_frame{}; // the time stored in it
};
KeyFrameSummary export_first_key_frame(const ExportRequest &request);

} // namespace cli
