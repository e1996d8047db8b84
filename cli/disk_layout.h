// The disk description the info command shows beyond the library's size
// exports: every partition as the library mounted it (file counts, state,
// repair flag, record and picture time ranges), from the partition-info
// extension, so the tool decodes no on-disk record of its own.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "rfs.h"

namespace cli {

struct PartitionView {
    int index = 0;
    bool readable = false; // the mounted partition record carries its magic
    int copy = -1;         // its primary index copy, -1 when no copy is usable
    uint16_t file_nr = 0;
    uint16_t free_file_nr = 0;
    uint8_t state = 0;       // 0/1 usable, 2 bad
    uint8_t repair_flag = 0; // 1: the recorder was writing it when it stopped
    uint32_t record_start = 0, record_end = 0;   // packed times, 0 = none
    uint32_t picture_start = 0, picture_end = 0;
    RfsPartitionInfo info{};
};

struct DiskView {
    uint8_t part_count = 0;
    uint8_t disk_state = 0;
    std::vector<PartitionView> partitions;
};

// The mounted disk in slot `id`. Throws ToolError when the library has no
// such disk.
DiskView read_disk_view(int id);

// The lowest usable copy in index flags (the primary), or -1.
int primary_copy(uint8_t index_flags);

// "YYYY-MM-DD HH:MM:SS" of a packed time, "-" for 0.
std::string packed_time_text(uint32_t packed);

} // namespace cli
