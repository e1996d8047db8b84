#include "harness.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <ctime>
#include <stdexcept>

#include "disk_alias.h"
#include "frame/alloc.h"
#include "frame/state.h"
#include "trace.h"

namespace bench {

namespace {

double thread_cpu_ns() {
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return double(ts.tv_sec) * 1e9 + double(ts.tv_nsec);
}

// Thread CPU time of one run of `run`, over n runs; `reset`, when given,
// runs untimed after each.
double ns_per_run(int64_t n, const std::function<void()> &run, const std::function<void()> &reset) {
    double spent = 0, t0 = thread_cpu_ns();
    for (int64_t i = 0; i < n; ++i) {
        run();
        if (!reset) continue;
        spent += thread_cpu_ns() - t0;
        reset();
        t0 = thread_cpu_ns();
    }
    if (!reset) spent = thread_cpu_ns() - t0;
    return spent / double(n);
}

void measure(benchmark::State &st, const Entry &e) {
    Op op = e.prepare(); // which leaves the library warm for the operation
    start_trace();
    uint64_t allocs = library_allocations();
    op.run();
    allocs = library_allocations() - allocs;
    Trace trace = stop_trace();
    if (op.reset) op.reset();
    Replay replay(trace, work_dir() + "/replay-writes");
    replay.run(); // warm, as the library is
    // Google Benchmark's loop finds how many runs make a measurement ...
    for (auto _ : st) {
        op.run();
        if (!op.reset) continue;
        st.PauseTiming();
        op.reset();
        st.ResumeTiming();
    }
    // ... then the library and the replay take turns, and each keeps its
    // best round, so a burst of other work on the machine spoils neither.
    const int rounds = st.iterations() >= 5 ? 5 : 1;
    const int64_t n = int64_t(st.iterations()) / rounds;
    double library = 1e300, floor = replay.empty() ? 0 : 1e300;
    for (int r = 0; r < rounds; ++r) {
        library = std::min(library, ns_per_run(n, op.run, op.reset));
        if (!replay.empty()) floor = std::min(floor, ns_per_run(n, [&] { replay.run(); }, {}));
    }
    op.done();
    st.counters["library_ns"] = library;
    st.counters["floor_ns"] = floor;
    st.counters["calls"] = double(trace.calls.size());
    st.counters["reads"] = double(trace.reads);
    st.counters["bytes"] = double(trace.bytes);
    st.counters["items"] = op.items;
    st.counters["allocs"] = double(allocs);
    for (const auto &[name, value] : op.counters) st.counters[name] = value;
}

struct Mounted {
    const Disk *disk;
    bool second_kind;
    bool operator==(const Mounted &) const = default;
};
std::vector<Mounted> g_mounted;

} // namespace

std::vector<Entry> all_entries(const Options &opt) {
    std::vector<Entry> out;
    add_mount_entries(out, opt);
    add_search_entries(out, opt);
    add_playback_entries(out, opt);
    add_reference_entries(out, opt);
    return out;
}

void register_entries(const std::vector<Entry> &entries, const Options &opt) {
    for (const Entry &e : entries) {
        auto *b = benchmark::RegisterBenchmark((e.name + " | " + e.disk).c_str(),
                                               [e](benchmark::State &st) { measure(st, e); });
        b->Unit(benchmark::kNanosecond);
        if (opt.smoke) b->Iterations(1);
    }
}

void unmount_all() {
    for (size_t id = 0; id < g_mounted.size(); ++id) rfs_remove_disk(int(id));
    g_mounted.clear();
}

void mount_disks(const std::vector<Mount> &mounts) {
    std::vector<Mounted> wanted;
    for (const Mount &m : mounts) wanted.push_back({&m.disk(), m.second_kind});
    if (wanted == g_mounted) return;
    unmount_all();
    if (wanted.empty()) return;
    rfs_set_nas_mode(wanted[0].disk->nas ? 1 : 0);
    for (size_t id = 0; id < wanted.size(); ++id) {
        std::string alias = alias_of(*wanted[id].disk);
        int kind = wanted[id].second_kind ? 1 : 0;
        check(rfs_add_disk(int(id), alias.c_str(), kind, 0, nullptr) == 0, "mount " + alias);
        g_mounted.push_back(wanted[id]);
    }
}

std::string alias_of(const Disk &disk) { return rfs_host::alias_disk(disk.path); }

RfsDateTime datetime(rec::PackedTime t) {
    RfsDateTime d{};
    d.second = uint8_t(t & 63);
    d.minute = uint8_t((t >> 6) & 63);
    d.hour = uint8_t((t >> 12) & 31);
    d.day = uint8_t((t >> 17) & 31);
    d.month = uint8_t((t >> 22) & 15);
    d.year = uint16_t(t >> 26);
    return d;
}

RfsSearchParam search_param(rec::PackedTime from, rec::PackedTime to, int only,
                            uint8_t search_type) {
    static uint8_t every[kChannels / 8];
    static uint8_t one[kChannels / 8];
    for (uint8_t &b : every) b = 0xFF;
    RfsSearchParam p{};
    p.search_type = search_type;
    p.chnCnt = kChannels;
    p.record_type = ~0ull;
    p.start = datetime(from);
    p.end = datetime(to);
    p.chnBit = every;
    if (only >= 0) {
        for (uint8_t &b : one) b = 0;
        one[only / 8] = uint8_t(1u << (only % 8));
        p.chnBit = one;
    }
    return p;
}

int64_t listed_events(int handle) {
    int64_t n = 0;
    for (int c = 0; c < kChannels; ++c) {
        RfsEventList l{};
        if (rfs_get_event(uint32_t(handle), c, &l) == 0) n += l.count;
    }
    return n;
}

uint64_t library_allocations() { return rfs::allocation_count(); }

void check(bool ok, const std::string &what) {
    if (!ok) throw std::runtime_error("benchmark set-up failed: " + what);
}

} // namespace bench
