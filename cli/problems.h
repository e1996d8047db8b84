// What a command could not read, or chose not to show. Nothing is left out in
// silence: each problem is one line on stderr as soon as it is found
// ("rfs ls: warning: ..."), an entry of the "problems" list that every --json
// document ends with, and with --strict it makes the command exit 1.
//
//   problems().add("partition", "disk 0 partition 1 is unusable: ...");
//
// Kinds name what went unread: "disk", "partition", "index_copy",
// "data_file", "skipped_events", "channel", "export", "motion", "key_frame";
// or what is shown other than stored: "repair" (the mount repaired a
// partition the recorder was writing when it stopped).
//
// The same line is said once: a command that mounts the disks twice (repair
// --write) finds the same problems again.
#pragma once

#include <string>
#include <vector>

#include "json_writer.h"

namespace cli {

struct Problem {
    std::string kind;
    std::string text;
};

class Problems {
  public:
    // The command whose lines these are; --strict makes any problem fail it.
    void start(const std::string &command);
    void set_strict(bool strict) { strict_ = strict; }
    // A problem already listed (same kind and text) is not added again.
    void add(const std::string &kind, const std::string &text);
    const std::vector<Problem> &list() const { return list_; }
    // The "problems" member of an open JSON object.
    void write_json(rfs_json::Writer &w) const;
    // The exit code of a command that otherwise answered whole.
    int exit_code() const { return strict_ && !list_.empty() ? 1 : 0; }

  private:
    std::string command_;
    bool strict_ = false;
    std::vector<Problem> list_;
};

Problems &problems();

} // namespace cli
