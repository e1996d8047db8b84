// The disk description the info command shows beyond the library's size
// exports: the partition records (file counts, state, repair flag, record and
// picture time ranges) at the head of each partition's primary index copy.
// Read through the installed storage, so a disk shows as the library left it
// after mounting (with its in-memory repairs).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace cli {

struct PartitionView {
    int index = 0;
    bool readable = false; // a "Part" record was found in the primary copy
    int copy = -1;         // the index copy it was read from
    uint16_t file_nr = 0;
    uint16_t free_file_nr = 0;
    uint8_t state = 0;       // 0/1 usable, 2 bad
    uint8_t repair_flag = 0; // 1: the recorder was writing it when it stopped
    uint32_t record_start = 0, record_end = 0;   // packed times, 0 = none
    uint32_t picture_start = 0, picture_end = 0;
};

struct DiskView {
    uint8_t part_count = 0;
    uint8_t disk_state = 0;
    std::vector<PartitionView> partitions;
};

// `alias` is the name the disk is mounted under. Throws ToolError when the
// parameter block cannot be read.
DiskView read_disk_view(const std::string &alias, bool nas);

// "YYYY-MM-DD HH:MM:SS" of a packed time, "-" for 0.
std::string packed_time_text(uint32_t packed);

} // namespace cli
