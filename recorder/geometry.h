// Disk geometry the simulated recorder formats with.
#pragma once

#include "recorder.h"

namespace rec {

// Fixed places of the recorder's layout.
constexpr uint64_t kBlockOffset = 128;           // disk parameter block (raw image, index%d)
constexpr uint64_t kRawLabelArea = 0x100000;     // label head of a raw image
constexpr uint64_t kRawFirstPartition = 0x400000;
constexpr uint64_t kNasIndexAreaOffset = 0x1000; // partition 0's index area in index%d
constexpr uint32_t kLabelAreaSize = 0x400 + 2 * 0x100000;
constexpr uint32_t kMotionAreaStart = 0x1000;
constexpr uint32_t kFileTableOffset = 0x1000;    // within a partition's index area

uint32_t effective_file_size(uint32_t data_file_size);

// Checks the shape (throws std::invalid_argument) and lays the disk out:
// raw: block at 128, label area at 1 MiB, partitions from 4 MiB on, each
// holding its four index copies and then its data files; NAS: index%d with
// the block at 128 and the single partition's index area at 4 KiB.
Geometry make_geometry(const DiskShape& shape);

}  // namespace rec
