// The sample disks in memory storage behind the fault-injecting wrapper, and
// what the hostile-input tests check after every run: where the library wrote,
// and that a clean mount afterwards still finds every event.
#pragma once

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "exercise.h"
#include "fault_storage.h"
#include "memory_storage.h"
#include "sample_disk.h"

constexpr int kChannels = 16;

// `files` as the disk's storage, behind the wrapper (no rules, counts at 0),
// in the disk's storage mode; the library not initialised.
inline void start(const SampleDisk &disk, const rfs_host::MemoryFiles &files) {
    reset_library();
    rfs_host::memory_files() = files;
    rfs_host::fault_install(rfs_host::memory_ops());
    rfs_set_nas_mode(disk.nas ? 1 : 0);
    rfs_set_output_sink([](int, const char *, void *) {}, nullptr); // dumps and perror lines
}

// Every channel, every record type, all of 2026.
inline RfsSearchParam whole_year(uint8_t data_type, uint8_t search_type) {
    return search_everything(data_type, search_type, RfsDateTime{0, 0, 0, 0, 1, 1, 26},
                             RfsDateTime{0, 59, 59, 23, 31, 12, 26});
}

// (record_id, event, channel, start day-second, end day-second)
using Listed = std::tuple<uint32_t, int, int, int, int>;

// What the per-channel lists of search `h` hold.
inline std::vector<Listed> listed_events(uint32_t h) {
    std::vector<Listed> out;
    auto second = [](const RfsDateTime &t) { return t.hour * 3600 + t.minute * 60 + t.second; };
    for (int chn = 0; chn < kChannels; ++chn) {
        RfsEventList l{};
        rfs_get_event(h, chn, &l);
        for (int i = 0; i < l.count; ++i)
            out.emplace_back(l.list[i].record_id, l.list[i].event_id, l.list[i].chn, second(l.list[i].start),
                             second(l.list[i].end));
    }
    return out;
}

// What a search over everything lists on the disk mounted in slot 0.
inline std::vector<Listed> listed_events() {
    RfsSearchParam p = whole_year(0, 3);
    int h = rfs_find_start(&p, nullptr, 0);
    std::vector<Listed> out = h < 0 ? std::vector<Listed>{} : listed_events(uint32_t(h));
    rfs_find_stop(uint32_t(h));
    return out;
}

// Where the disk's own parameter block puts partition 0's index copies and
// data files: a damaged block moves them, and the library goes by the block.
struct BlockLayout {
    uint64_t part_base = 0, copy_size = 0, data_start = 0, file_size = 0;
};

inline BlockLayout block_layout(const SampleDisk &disk) {
    std::vector<uint8_t> b = rfs_host::memory_read(disk.block_files()[0], 128, 272);
    auto le = [&](size_t at, int n) {
        uint64_t v = 0;
        for (int i = n - 1; i >= 0; --i) v = v << 8 | b[at + size_t(i)];
        return v;
    };
    uint64_t size = le(64, 4), start = le(68, 4);
    bool known = size == 0x10000000 || size == 0x20000000 || size == 0x40000000;
    return {le(72, 8), le(216, 4), start == 0 && size == 0 ? 0x20000000 : start, known ? size : 0x10000000};
}

// Whether the library may have changed page `page` of `file`: the parameter
// block and the index copies hold everything it writes; repair also rewrites
// the copy of a file record at the head of each data file.
inline bool index_page(const SampleDisk &disk, const BlockLayout &l, const std::string &file, uint64_t page,
                       bool repair) {
    uint64_t at = page * rfs_host::kMemoryPageSize;
    if (disk.nas) return file.find("/index") != std::string::npos || (repair && page == 0);
    bool in_index = at + rfs_host::kMemoryPageSize > l.part_base && at - l.part_base < 4 * l.copy_size;
    uint64_t in_file = (at - l.part_base - l.data_start) % l.file_size; // modulo 2^64, as the library adds
    bool file_head = repair && (in_file < 336 || in_file > l.file_size - rfs_host::kMemoryPageSize);
    return page == 0 || in_index || file_head;
}

// What the library may write at the most: a recovery copies one index copy
// (and the good copy onto itself when the spare refuses it), as long as the
// four copies the block describes lie inside the disk; repair and the state
// reset rewrite a few records.
inline uint64_t max_written(const SampleDisk &disk, const BlockLayout &l) {
    uint64_t size = rfs_host::memory_files()[disk.index_file(0)].size, copies = disk.nas ? 1 : 4;
    bool inside = copies * l.copy_size <= size && l.part_base <= size - copies * l.copy_size;
    return (inside ? 2 * l.copy_size : 0) + (1 << 20);
}

// Whether the library wrote only where it may (nowhere unless `may_write`)
// since the disk held `before`, and no more than it may.
inline void expect_writes_in_index(const SampleDisk &disk, const BlockLayout &layout,
                                   const rfs_host::MemoryFiles &before, bool may_write) {
    bool repair = &disk == &sample_disk(SampleKind::power_cut);
    EXPECT_LE(rfs_host::fault_counts().bytes_written, max_written(disk, layout));
    for (const auto &[file, page] : rfs_host::memory_changed_pages(before, rfs_host::memory_files()))
        EXPECT_TRUE(may_write && index_page(disk, layout, file, page, repair)) << "wrote page " << page << " of " << file;
}

// Drives `files` through the whole interface as the disk's storage, checks
// where the library wrote, and ends the test program, saying which run it
// was, when the run takes longer than a minute: a hang must fail.
inline ExerciseResult exercise_and_check(const SampleDisk &disk, const rfs_host::MemoryFiles files,
                                         const std::string &what) {
    SCOPED_TRACE(what);
    static char hang[256];
    std::snprintf(hang, sizeof hang, "hang: %s took more than 60 s\n", what.c_str());
    start(disk, files);
    BlockLayout layout = block_layout(disk);
    signal(SIGALRM, [](int) {
        (void)!write(2, hang, std::strlen(hang));
        abort();
    });
    alarm(60);
    ExerciseResult r = exercise_disk(disk.path.c_str());
    alarm(0);
    expect_writes_in_index(disk, layout, files, true);
    return r;
}

// Peak resident memory of this process, in MiB.
inline long peak_rss_mb() {
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return u.ru_maxrss / 1024;
}
