// Peak memory of the rfs tool listing each scale's disk, with --json and
// as text (the JSON document is written as it goes, so it should cost about
// what the text does).
#pragma once

#include <string>
#include <vector>

#include "disks.h"

namespace bench {

struct ToolMemory {
    std::string measurement;
    std::string disk;
    long json_kb = -1; // -1: the run failed
    long text_kb = -1;
};

// Forks the process that runs the tool; call it first thing, while this
// process is small (a forked child keeps its parent's peak through exec).
void start_tool_runner();

// Empty when the tool is not built.
std::vector<ToolMemory> measure_tool_memory(const std::vector<const Scale *> &scales);

} // namespace bench
