#include "table.h"

#include <sys/utsname.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace bench {

namespace {

std::string duration(double ns) {
    char out[32];
    if (ns <= 0) return "-";
    if (ns < 1e3) snprintf(out, sizeof out, "%.1f ns", ns);
    else if (ns < 1e6) snprintf(out, sizeof out, "%.2f us", ns / 1e3);
    else if (ns < 1e9) snprintf(out, sizeof out, "%.2f ms", ns / 1e6);
    else snprintf(out, sizeof out, "%.2f s", ns / 1e9);
    return out;
}

std::string amount(double v) {
    char out[32];
    if (v >= 1e9) snprintf(out, sizeof out, "%.2f G", v / 1e9);
    else if (v >= 1e6) snprintf(out, sizeof out, "%.2f M", v / 1e6);
    else if (v >= 1e4) snprintf(out, sizeof out, "%.1f k", v / 1e3);
    else if (v == double(int64_t(v))) snprintf(out, sizeof out, "%lld", (long long)v);
    else snprintf(out, sizeof out, "%.2f", v);
    return out;
}

std::string counter(const Row &r, const char *name) {
    auto it = r.counters.find(name);
    return it == r.counters.end() ? "" : amount(it->second);
}

// What else the row measured, in words.
std::string notes(const Row &r) {
    std::ostringstream out;
    auto add = [&](const std::string &s) { out << (out.tellp() > 0 ? ", " : "") << s; };
    if (auto n = counter(r, "listed"); !n.empty()) add(n + " events listed");
    if (auto b = counter(r, "list_bytes_per_event"); !b.empty()) add(b + " B/event over the records");
    if (r.measurement.rfind("search", 0) == 0) add(counter(r, "allocs") + " allocations");
    if (auto m = counter(r, "max_reads"); !m.empty()) add("at most " + m + " reads a seek");
    if (r.measurement.rfind("rfs_read", 0) == 0 && r.library_ns > 0) {
        char mbs[64];
        snprintf(mbs, sizeof mbs, "%.0f MB/s, floor %.0f MB/s", r.bytes * 1e3 / r.library_ns,
                 r.floor_ns > 0 ? r.bytes * 1e3 / r.floor_ns : 0.0);
        add(mbs);
    }
    return out.str();
}

std::string json_string(const std::string &s) {
    std::string out = "\"";
    for (char c : s) {
        if (c == '"' || c == '\\') out += '\\';
        if (c == '\n') { out += "\\n"; continue; }
        out += c;
    }
    return out + "\"";
}

} // namespace

std::string machine_description() {
    std::string model = "unknown CPU";
    std::ifstream cpuinfo("/proc/cpuinfo");
    for (std::string line; std::getline(cpuinfo, line);)
        if (line.rfind("model name", 0) == 0) {
            model = line.substr(line.find(':') + 2);
            break;
        }
    utsname u{};
    uname(&u);
    std::ostringstream out;
    out << model << ", " << sysconf(_SC_NPROCESSORS_ONLN) << " cores, " << u.sysname << ' '
        << u.release;
    return out.str();
}

void print_table(FILE *out, const std::vector<Row> &rows, const std::string &machine) {
    fprintf(out, "Machine: %s\n\n", machine.c_str());
    fprintf(out, "| measurement | disk | library | floor | ratio | storage calls | bytes | notes |\n");
    fprintf(out, "|---|---|---:|---:|---:|---:|---:|---|\n");
    for (const Row &r : rows) {
        char ratio[16] = "-";
        if (r.ratio() > 0) snprintf(ratio, sizeof ratio, "%.2f", r.ratio());
        fprintf(out, "| %s | %s | %s | %s | %s | %s | %s | %s |\n", r.measurement.c_str(), r.disk.c_str(),
               duration(r.library_ns).c_str(), duration(r.floor_ns).c_str(), ratio,
               amount(r.calls).c_str(), amount(r.bytes).c_str(), notes(r).c_str());
    }
    fflush(out);
}

void print_memory_table(FILE *out, const std::vector<ToolMemory> &rows) {
    if (rows.empty()) return;
    fprintf(out, "\n| memory | disk | --json | text | ratio |\n|---|---|---:|---:|---:|\n");
    for (const ToolMemory &m : rows) {
        char ratio[16] = "-";
        if (m.json_kb > 0 && m.text_kb > 0) snprintf(ratio, sizeof ratio, "%.2f", double(m.json_kb) / double(m.text_kb));
        fprintf(out, "| %s | %s | %s | %s | %s |\n", m.measurement.c_str(), m.disk.c_str(),
                m.json_kb > 0 ? (amount(double(m.json_kb) * 1024) + "B").c_str() : "failed",
                m.text_kb > 0 ? (amount(double(m.text_kb) * 1024) + "B").c_str() : "failed", ratio);
    }
    fflush(out);
}

void write_json(const std::vector<Row> &rows, const std::vector<ToolMemory> &memory,
                const std::string &machine, const std::string &path) {
    std::ofstream out(path + ".part");
    out << "{\n  \"machine\": " << json_string(machine) << ",\n  \"rows\": [\n";
    for (size_t i = 0; i < rows.size(); ++i) {
        const Row &r = rows[i];
        out << "    {\"measurement\": " << json_string(r.measurement)
            << ", \"disk\": " << json_string(r.disk) << ", \"library_ns\": " << r.library_ns
            << ", \"floor_ns\": " << r.floor_ns << ", \"ratio\": " << r.ratio()
            << ", \"storage_calls\": " << r.calls << ", \"reads\": " << r.reads
            << ", \"bytes\": " << r.bytes << ", \"calls_per_operation\": " << r.items;
        for (const auto &[name, value] : r.counters) out << ", " << json_string(name) << ": " << value;
        out << "}" << (i + 1 < rows.size() ? "," : "") << "\n";
    }
    out << "  ],\n  \"tool_memory\": [\n";
    for (size_t i = 0; i < memory.size(); ++i) {
        const ToolMemory &m = memory[i];
        out << "    {\"measurement\": " << json_string(m.measurement) << ", \"disk\": "
            << json_string(m.disk) << ", \"json_peak_kb\": " << m.json_kb
            << ", \"text_peak_kb\": " << m.text_kb << "}" << (i + 1 < memory.size() ? "," : "")
            << "\n";
    }
    out << "  ]\n}\n";
    out.close();
    if (!out || std::rename((path + ".part").c_str(), path.c_str()) != 0)
        throw std::runtime_error("cannot write " + path);
}

} // namespace bench
