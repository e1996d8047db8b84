// The small recorder-made disks that fuzzing and the damaged-disk tests start
// from, held in memory storage. Each is built once per process by the
// recorder simulator (frames shrunk to their headers, so every byte on the
// disk is an index, a header or a table) and never changes afterwards.
//
// Channel 0 records with reference frames and motion records, channels 1 and
// 3 with plain key frames and a trimmed tail; channels 0 and 1 have pictures
// and labels. The power-cut disk adds channel 2, cut while writing, with its
// partition flagged for repair.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "memory_storage.h"
#include "recorder.h"

enum class SampleKind { raw, nas, power_cut };

struct SampleDisk {
    std::string path;            // what to mount: the image, or the NAS directory
    bool nas = false;
    rfs_host::MemoryFiles files; // the disk: assign to rfs_host::memory_files()
    std::unique_ptr<rec::Recorder> recorder; // what was written (geometry, events...)

    const rec::Geometry &geometry() const { return recorder->geometry(); }
    // Memory path and offset of data file `file_no` (1-based) of partition 0.
    std::string data_file(int file_no) const;
    uint64_t data_file_base(int file_no) const;
    // The files that hold a parameter block: the image, or index0..3.
    std::vector<std::string> block_files() const;
    // Memory path and offset of index copy k of partition 0.
    std::string index_file(int k) const;
    uint64_t index_base(int k) const;
};

const SampleDisk &sample_disk(SampleKind kind);

// Makes the check sum of the parameter block at byte 128 of the memory file
// `file` valid, as a recorder that wrote the block would leave it.
void fix_block_sum(const std::string &file);
