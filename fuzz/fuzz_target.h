// One fuzz target: how its input changes a disk held in memory, and the seed
// inputs that leave a sample disk as the recorder wrote it. Each fuzz_*.cpp
// defines fuzz_target(); fuzz_main.cpp runs it through the whole interface.
//
// RFS_FUZZ_SEEDS=DIR ./fuzz_X writes the target's seeds into DIR and exits;
// that is how fuzz/corpus/X was made.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "sample_disk.h"

using Bytes = std::vector<uint8_t>;

struct FuzzTarget {
    SampleKind sample = SampleKind::raw; // the disk mounted, with its path and storage mode
    bool from_nothing = false;           // inputs start from no files instead of the sample
    std::function<void(const uint8_t *data, size_t size)> apply;
    std::function<std::vector<Bytes>()> seeds;
};

FuzzTarget fuzz_target();

// ---- Inputs laid over fixed places of a sample disk ----------------------

// `size` bytes of `file`, at each of `offsets` (an index record lies in all
// four index copies; the same bytes go to every place, the seed comes from
// the first).
struct Region {
    std::string file;
    std::vector<uint64_t> offsets;
    uint32_t size;
};

// The places of index-area offset `offset` in the four copies of partition 0.
std::vector<uint64_t> in_every_copy(const SampleDisk &disk, uint64_t offset);

// Writes the input over the regions in order, each taking up to its size,
// until the input is used up.
void write_regions(const std::vector<Region> &regions, const uint8_t *data, size_t size);
// The bytes the regions hold now, in order: the seed that changes nothing.
Bytes read_regions(const std::vector<Region> &regions);
// A target whose input covers `regions` of the raw sample, every block check
// sum made valid afterwards when `fix_sum`.
FuzzTarget region_target(std::vector<Region> regions, bool fix_sum = false);

// ---- Inputs that are whole disks -------------------------------------------
// A flags byte, then records: u8 file, u64 offset, u16 length (little-endian),
// then `length` bytes written at `offset`; a record of length 0 sets the
// file's size to `offset` instead. Flags bit 0: make the parameter blocks'
// check sums valid afterwards. File numbers name files by `file_name`.

void load_disk(const uint8_t *data, size_t size, const std::function<std::string(uint8_t)> &file_name,
               const std::vector<std::string> &blocks);
// The input that recreates `files` (every file named by some number).
Bytes save_disk(const rfs_host::MemoryFiles &files, const std::function<std::string(uint8_t)> &file_name);
