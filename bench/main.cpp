// rfs-bench: every measurement of the library against the replay of its own
// storage calls, as one table.
//
//   rfs-bench [--scales=100,1000,10000] [--smoke] [--json=FILE] [Google Benchmark flags]
//
// --smoke runs each measurement once on the smallest disk (the test suite
// does, so every measurement keeps building and running).
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <sstream>

#include "harness.h"
#include "posix_storage.h"
#include "table.h"
#include "tool_memory.h"
#include "trace.h"

namespace {

using namespace bench;

class TableReporter : public benchmark::BenchmarkReporter {
  public:
    bool ReportContext(const Context &) override { return true; }
    void ReportRuns(const std::vector<Run> &runs) override {
        for (const Run &run : runs) {
            if (run.error_occurred) {
                fprintf(stderr, "%s: %s\n", run.benchmark_name().c_str(), run.error_message.c_str());
                failed = true;
                continue;
            }
            rows.push_back(row_of(run));
            fprintf(stderr, "done: %s\n", run.benchmark_name().c_str());
        }
    }

    std::vector<Row> rows;
    bool failed = false;

  private:
    static Row row_of(const Run &run) {
        Row r;
        std::string name = run.benchmark_name();
        size_t bar = name.find(" | ");
        r.measurement = name.substr(0, bar);
        r.disk = name.substr(bar + 3);
        size_t slash = r.disk.find('/'); // "/iterations:1" in a smoke run
        if (slash != std::string::npos) r.disk.resize(slash);
        std::map<std::string, double> c;
        for (const auto &[key, value] : run.counters) c[key] = value.value;
        r.items = c["items"] > 0 ? c["items"] : 1;
        r.library_ns = c["library_ns"] / r.items;
        r.floor_ns = c["floor_ns"] / r.items;
        r.calls = c["calls"] / r.items;
        r.reads = c["reads"] / r.items;
        r.bytes = c["bytes"] / r.items;
        for (const char *key : {"library_ns", "floor_ns", "calls", "reads", "bytes", "items"})
            c.erase(key);
        r.counters = c;
        return r;
    }
};

Options parse_options(int &argc, char **argv, std::string *json) {
    Options opt;
    std::string scales = "100,1000,10000";
    int kept = 1;
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        if (a == "--smoke") opt.smoke = true;
        else if (a.rfind("--scales=", 0) == 0) scales = a.substr(9);
        else if (a.rfind("--json=", 0) == 0) *json = a.substr(7);
        else argv[kept++] = argv[i];
    }
    argc = kept;
    if (opt.smoke) scales = all_scales().front().name;
    std::istringstream list(scales);
    for (std::string name; std::getline(list, name, ',');) {
        const Scale *s = find_scale(name);
        if (!s) throw std::invalid_argument("unknown scale " + name);
        opt.scales.push_back(s);
    }
    return opt;
}

// The library prints its search dumps to standard output; they go to
// /dev/null (at the cost of writing them there), the table to the real one.
FILE *table_output() {
    fflush(stdout);
    FILE *out = fdopen(dup(STDOUT_FILENO), "w");
    int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (!out || null < 0 || dup2(null, STDOUT_FILENO) < 0) throw std::runtime_error("stdout");
    close(null);
    return out;
}

} // namespace

int main(int argc, char **argv) {
    start_tool_runner();
    std::string json;
    Options opt = parse_options(argc, argv, &json);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;

    FILE *out = table_output();
    install_traced_storage(rfs_host::posix_ops());
    if (rfs_init(kChannels, 1) != 0) return 1;
    register_entries(all_entries(opt), opt);
    TableReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    unmount_all();
    rfs_exit();
    std::vector<ToolMemory> memory = measure_tool_memory(opt.scales);

    std::string machine = machine_description();
    print_table(out, reporter.rows, machine);
    print_memory_table(out, memory);
    if (!json.empty()) write_json(reporter.rows, memory, machine, json);
    bool tool_failed = false;
    for (const ToolMemory &m : memory) tool_failed |= m.json_kb < 0 || m.text_kb < 0;
    return reporter.failed || tool_failed ? 1 : 0;
}
