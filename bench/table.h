// The results as one table: measurement, library, floor, ratio, storage
// calls, bytes (and what else a row measured), printed as Markdown and
// written as JSON.
#pragma once

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "tool_memory.h"

namespace bench {

struct Row {
    std::string measurement;
    std::string disk;
    double library_ns = 0; // per call of the export (per operation when items is 1)
    double floor_ns = 0;   // its storage calls replayed; 0 when it made none
    double calls = 0;      // storage calls, per call of the export
    double reads = 0;
    double bytes = 0;
    double items = 1;      // calls of the export per timed operation
    std::map<std::string, double> counters;

    double ratio() const { return floor_ns > 0 ? library_ns / floor_ns : 0; }
};

std::string machine_description();
void print_table(FILE *out, const std::vector<Row> &rows, const std::string &machine);
void print_memory_table(FILE *out, const std::vector<ToolMemory> &rows);
void write_json(const std::vector<Row> &rows, const std::vector<ToolMemory> &memory,
                const std::string &machine, const std::string &path);

} // namespace bench
