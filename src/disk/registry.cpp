// The table of mounted disks, the values derived from them, unmounting and
// the dump of every mounted disk's partition times.
#include "disk/registry.h"

#include <cstdlib>

#include "frame/log.h"
#include "frame/time.h"

namespace rfs {

disk_info_t *pg_disk_list[kMaxDisks];
uint32_t g_event_index_size;
uint16_t g_max_part_file_nr;
uint32_t g_max_switch;
uint32_t g_removed_disk_mask;
uint8_t g_mark_a_disk;
uint8_t g_mark_b_disk;

namespace {

void print_range(int p, PackedTime start, PackedTime end) {
    RfsDateTime s{}, e{};
    unpack_time(start, &s);
    unpack_time(end, &e);
    rfs_print("    part:%d (%d/%d/%d %d:%d:%d)-(%d/%d/%d %d:%d:%d)\n", p, s.year, s.month, s.day,
              s.hour, s.minute, s.second, e.year, e.month, e.day, e.hour, e.minute, e.second);
}

// A disk group entry of a recorder-side writer: its second word names the
// disk it writes to. Nothing in this library fills the table.
void forget_group_writer(int gfd, const disk_info_t *d) {
    auto **words = static_cast<void **>(WriteStateTable[gfd]);
    if (words[1] && words[1] == d) words[0] = words[1] = nullptr;
}

} // namespace

void dump_all_disks() {
    rfs_print("all disk rec:\n");
    for (int id = 0; id < kMaxDisks; ++id) {
        const disk_info_t *d = pg_disk_list[id];
        if (!d) continue;
        rfs_print("disk:%d, %s\n", id, d->path);
        int parts = d->param.part_count() < kMaxPartitions ? d->param.part_count() : kMaxPartitions;
        for (int p = 0; p < parts; ++p) {
            print_range(p, d->partition[p].record_start(), d->partition[p].record_end());
            print_range(p, d->partition[p].pic_start(), d->partition[p].pic_end());
        }
    }
}

} // namespace rfs

using namespace rfs;

extern "C" RFS_API int rfs_remove_disk(int id) noexcept {
    rfs_log("remove_disk start ,id=%d\n", id);
    if (unsigned(id) >= unsigned(kMaxDisks)) {
        rfs_log("disk %d out of range\n", id);
        return -1;
    }
    g_mark_a_disk = 0;
    g_mark_b_disk = 0;
    disk_info_t *d = pg_disk_list[id];
    if (!d) {
        rfs_log("disk %d not added\n", id);
    } else if (unsigned(d->gfd) >= unsigned(kDiskGroups) || !WriteStateTable[d->gfd]) {
        rfs_log("disk group  not added, diskid = %d, gfd = %d\n", id, d->gfd);
        std::free(d);
        pg_disk_list[id] = nullptr;
        rfs_log("remove_disk 875,pg_disk_list[id] = NULL;\n");
    } else {
        forget_group_writer(d->gfd, d);
        std::free(d);
        rfs_log("remove_disk 913,pg_disk_list[id] = NULL;\n");
        pg_disk_list[id] = nullptr;
        rfs_log("remove_disk end\n");
    }
    g_removed_disk_mask |= 1u << id;
    return 0;
}
