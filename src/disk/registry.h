// The mounted disks: slot id of pg_disk_list holds the disk with id `id`, and
// that slot number names the disk everywhere else (record_id bits 24..31).
#pragma once

#include <cstdint>
#include <type_traits>

#include "disk/layout.h"
#include "frame/state.h"

namespace rfs {

constexpr int kDiskPathSize = 64; // the library keeps 63 characters of a path

struct disk_info_t {
    int gfd;  // disk group 0..63, -1 when the group argument was out of range
    int kind; // third argument of rfs_add_disk, kept as given
    int id;   // the slot number
    DiskParamBlock param; // as it stood after mount (state repair, new check sum)
    char path[kDiskPathSize];
    // Record p for p < part_count, zero beyond. A snapshot: part_state 2 set at
    // mount lives only here, and repair may have recomputed free_file_nr.
    PartitionRecord partition[kMaxPartitions];
    LabelHead label_head;
};
// Allocated with rfs_malloc and released with free().
static_assert(std::is_trivially_destructible_v<disk_info_t>);

extern disk_info_t *pg_disk_list[kMaxDisks];

// Values derived from the disks mounted so far.
extern uint32_t g_event_index_size;  // largest event table of any mounted disk
extern uint16_t g_max_part_file_nr;  // largest file_nr of a partition mounted without error
extern uint32_t g_max_switch;        // largest switch_a / switch_b
extern uint32_t g_removed_disk_mask; // bit id set by remove, cleared by add
extern uint8_t g_mark_a_disk;
extern uint8_t g_mark_b_disk;

// The mounted disk in slot id, or null for an empty or out-of-range slot.
inline disk_info_t *mounted_disk(int id) {
    return (id >= 0 && id < kMaxDisks) ? pg_disk_list[id] : nullptr;
}

// NAS mount of partition p into slot: opens the primary copy (recovering it
// when it cannot be opened), reads the partition record and repairs a flagged
// partition. 0 or negative.
int mount_nas_partition(int p, DiskParamBlock *b, PartitionRecord *slot, const char *path);

// Prints the record and picture time ranges of every partition of every
// mounted disk.
void dump_all_disks();

} // namespace rfs
