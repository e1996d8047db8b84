// One measurement is one Entry: it sets the library up (untimed) and hands
// back the operation to time. The runner records the storage calls one run
// of it makes, then times the operation and the replay of those calls
// through plain pread in turns, in the same process, and reports both, so
// the ratio is what counts.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "disks.h"
#include "rfs.h"

namespace bench {

struct Op {
    std::function<void()> run; // one timed operation; the same storage calls every time
    double items = 1;          // calls of the measured export per operation
    // Untimed, after each run, when given: puts back what the run changed on
    // the disk.
    std::function<void()> reset;
    std::function<void()> done = [] {};
    // Figures of the operation itself, fixed at set-up (reads per seek, ...).
    std::map<std::string, double> counters;
};

struct Entry {
    std::string name;  // what is measured
    std::string disk;  // where: "1000 raw", "seek disk", ...
    std::function<Op()> prepare;
};

struct Options {
    std::vector<const Scale *> scales;
    bool smoke = false; // one iteration of everything, smallest disk
};

// Every measurement, in the order they run.
std::vector<Entry> all_entries(const Options &opt);
// Groups of entries, one per file.
void add_mount_entries(std::vector<Entry> &out, const Options &opt);
void add_search_entries(std::vector<Entry> &out, const Options &opt);
void add_playback_entries(std::vector<Entry> &out, const Options &opt);
void add_reference_entries(std::vector<Entry> &out, const Options &opt);

// Registers every entry with Google Benchmark.
void register_entries(const std::vector<Entry> &entries, const Options &opt);

// ---- Helpers for the entries ----------------------------------------------

constexpr int kChannels = 32; // rfs_init's max_rec_chn

// A disk to mount (made when first mounted): slot = position in the list;
// second_kind puts it in the group half 32..63.
struct Mount {
    std::function<const Disk &()> disk;
    bool second_kind = false;
};
// Mounts exactly these disks (raw or NAS, never both), unless they already are.
void mount_disks(const std::vector<Mount> &mounts);
void unmount_all();
std::string alias_of(const Disk &disk); // the short name the library is given

// A search request over [from, to] for `channels` channels from 0 (or just
// channel `only` when it is >= 0), every record type.
RfsSearchParam search_param(rec::PackedTime from, rec::PackedTime to, int only = -1,
                            uint8_t search_type = 3);
RfsDateTime datetime(rec::PackedTime t);

// Events listed by a search session, over every channel.
int64_t listed_events(int handle);

// Library allocations so far (through its allocation hook).
uint64_t library_allocations();

void check(bool ok, const std::string &what); // throws on failure

} // namespace bench
