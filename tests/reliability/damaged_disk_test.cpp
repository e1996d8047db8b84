// Copies of the sample disks with about 1% of their stored bytes replaced
// (every stored byte of a sample is an index, a header or a table), each
// mounted and driven through the whole interface: no crash, no hang, no
// sanitizer report, bounded memory, and no write outside the index.
//
// RFS_DAMAGED_COPIES sets the copies per disk (100 by default; 1000 for the
// full run). RFS_DAMAGED_SEED=N runs only the copies of seed N.
#include <random>

#include "hostile.h"

namespace {

// The copy of `disk` for `seed`. Odd seeds get their parameter blocks' check
// sums made valid again, as a tampering or failing recorder would leave them,
// so the damage reaches the geometry behind the block.
rfs_host::MemoryFiles damaged(const SampleDisk &disk, uint64_t seed) {
    std::mt19937_64 rng(seed);
    std::vector<std::pair<std::string, uint64_t>> stored; // every page the disk holds
    for (const auto &[path, file] : disk.files)
        for (const auto &page : file.pages) stored.emplace_back(path, page.first);
    rfs_host::memory_files() = disk.files;
    for (size_t n = stored.size() * rfs_host::kMemoryPageSize / 100; n > 0; --n) {
        const auto &[path, page] = stored[rng() % stored.size()];
        uint8_t byte = uint8_t(rng());
        rfs_host::memory_write(path, page * rfs_host::kMemoryPageSize + rng() % rfs_host::kMemoryPageSize, &byte, 1);
    }
    if (seed % 2)
        for (const std::string &file : disk.block_files()) fix_block_sum(file);
    return rfs_host::memory_files();
}

int env_int(const char *name, int fallback) {
    const char *v = std::getenv(name);
    return v ? std::atoi(v) : fallback;
}

TEST(DamagedDisks, MountSearchAndReadEverything) {
    const int copies = env_int("RFS_DAMAGED_COPIES", 100), only = env_int("RFS_DAMAGED_SEED", 0);
    const long rss_before = peak_rss_mb();
    for (SampleKind kind : {SampleKind::raw, SampleKind::nas, SampleKind::power_cut}) {
        const SampleDisk &disk = sample_disk(kind);
        int mounted = 0, with_events = 0, events_read = 0, pictures = 0, labels = 0;
        for (int seed = only ? only : 1; seed <= (only ? only : copies); ++seed) {
            ExerciseResult r = exercise_and_check(disk, damaged(disk, uint64_t(seed)),
                                                  disk.path + " seed " + std::to_string(seed));
            mounted += r.mount == 0;
            with_events += r.events_found > 0;
            events_read += r.events_read;
            pictures += r.pictures;
            labels += r.labels;
        }
        std::printf("%s: %d copies, %d mounted, %d listed events, %d events read, %d pictures and %d labels listed\n",
                    disk.path.c_str(), only ? 1 : copies, mounted, with_events, events_read, pictures, labels);
        if (!only) {
            EXPECT_GT(mounted, copies / 10) << "the damage should leave some disks mountable";
            EXPECT_GT(events_read, 0);
            EXPECT_GT(pictures, 0);
            EXPECT_GT(labels, 0);
        }
    }
    EXPECT_LT(peak_rss_mb() - rss_before, 1024) << "memory grew with what the damaged disks say";
}

} // namespace
