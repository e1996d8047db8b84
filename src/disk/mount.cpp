// rfs_add_disk: read and check the parameter block, reset a disk left in a
// bad state, mount every partition and publish the disk in its slot.
#include <cstdlib>
#include <cstring>
#include <new>

#include "disk/mount_hooks.h"
#include "disk/mount_internal.h"
#include "disk/param.h"
#include "disk/registry.h"
#include "frame/alloc.h"
#include "frame/log.h"
#include "frame/state.h"
#include "repair/repair_report.h"

namespace rfs {

namespace {

constexpr uint8_t kFsTypeRaw = 3;
constexpr uint8_t kFsTypeNas = 7;

int read_checked_block(const char *path, DiskParamBlock *b) {
    int r = read_disk_param(path, b);
    if (r == 0) r = check_disk_param(b);
    if (r != 0) rfs_log("ret = %d\n", r);
    return r;
}

// The partition table, part_base and index_flags have 16 entries: a block
// that claims more partitions is refused before anything is written to it.
bool part_count_ok(const DiskParamBlock &b) {
    if (b.part_count() <= kMaxPartitions) return true;
    rfs_log("disk param err part count %d > max part count %d\n", b.part_count(),
            kMaxPartitions);
    return false;
}

bool fs_type_ok(uint8_t fs_type) {
    if (fs_type <= 2) return true;
    if (fs_type == kFsTypeRaw) rfs_log("add raw disk now!\n");
    else if (fs_type == kFsTypeNas) rfs_log("add nas disk now!\n");
    else rfs_log("disk param err not support fs type now!\n");
    return fs_type == kFsTypeRaw || fs_type == kFsTypeNas;
}

void take_marks(int id, const AddDiskOptions *opts) {
    if (!opts) return;
    if (opts->mark_b == 1) g_mark_b_disk = uint8_t(id);
    if (opts->mark_a == 1) g_mark_a_disk = uint8_t(id);
}

// A record already in the slot is released: searches and reads name disks by
// slot, never by the record's address, so nothing still points at it.
disk_info_t *claim_slot(int id) {
    std::free(pg_disk_list[id]);
    pg_disk_list[id] = nullptr;
    void *mem = rfs_malloc(sizeof(disk_info_t));
    if (!mem) {
        rfs_log("malloc disk_info_t failed\n");
        return nullptr;
    }
    rfs_log("add_disk 522 NULL = pg_disk_list[id]\n");
    pg_disk_list[id] = new (mem) disk_info_t{}; // all zero; freed with free()
    return pg_disk_list[id];
}

void raise_event_index_size(const char *path, const DiskParamBlock &b) {
    uint32_t size = event_table_size(b.data_file_size());
    if (g_event_index_size < size) g_event_index_size = size;
    rfs_log("%s:data_file_size=%d, g_event_index_size=%d, fsdatasize=%d\n", path,
            int(b.data_file_size()), int(g_event_index_size), int(kDataFile1G));
}

void note_file_nr(uint16_t file_nr) {
    if (g_max_part_file_nr < file_nr) {
        rfs_log("add_disk 542,g_max_part_file_nr=%u,di->partition[i].file_nr=%u\n",
                unsigned(g_max_part_file_nr), unsigned(file_nr));
        g_max_part_file_nr = file_nr;
    } else {
        rfs_log("not add_disk 542,g_max_part_file_nr=%u,di->partition[i].file_nr=%u\n",
                unsigned(g_max_part_file_nr), unsigned(file_nr));
    }
}

void mount_partitions(disk_info_t *d, DiskParamBlock *b, const char *path) {
    for (int p = 0; p < b->part_count(); ++p) {
        PartitionRecord *slot = &d->partition[p];
        int r = nas_mode() ? mount_nas_partition(p, b, slot, path)
                           : mount_raw_partition(p, b, slot, path);
        if (r != 0) {
            rfs_log("add disk repair record:%s part:%d failed! ret=%d\n", path, p, r);
            slot->set_part_state(PartitionRecord::kStateBad);
            continue;
        }
        note_file_nr(slot->file_nr());
        rfs_log("add disk repair record:%s part:%d sucess!\n", path, p);
    }
}

// 256 MB a free file, whatever the disk's data-file size, and counting bad
// partitions too: the recorder's own free-space line has always read so.
void log_free_space(int id, const disk_info_t *d, int parts) {
    uint32_t free_files = 0;
    for (int p = 0; p < parts; ++p) free_files += d->partition[p].free_file_nr();
    rfs_log("disk%d free size=%uMB\n", id, 256u * free_files);
}

void fill_record(disk_info_t *d, int id, const char *path, const DiskParamBlock &b,
                 const LabelHead &head, int kind, int group) {
    d->id = id;
    d->param = b;
    size_t len = strnlen(path, kDiskPathSize - 1);
    std::memcpy(d->path, path, len);
    d->path[len] = '\0';
    d->label_head = head;
    uint32_t sw = b.switch_b() > b.switch_a() ? b.switch_b() : b.switch_a();
    if (g_max_switch < sw) g_max_switch = sw;
    rfs_log("add disk max switch is %u\n", g_max_switch);
    d->kind = kind;
    int base = (kind == 1 || kind < 0) ? 32 : 0;
    d->gfd = unsigned(group) <= 31 ? base + group : -1;
}

} // namespace

} // namespace rfs

using namespace rfs;

extern "C" RFS_API int rfs_add_disk(int id, const char *path, int kind, int group,
                                    const AddDiskOptions *opts) noexcept {
    rfs_log("add_disk start,id=%d\n", id);
    if (id < 0 || id >= kMaxDisks) {
        rfs_log("hdd num > max hdd num, id:%d, max_id:%d\n", id, kMaxDisks);
        return RFS_ERR_TIME;
    }
    if (!path) return RFS_ERR_NULL;
    // The record keeps 63 characters of the path and every later open composes
    // its names from them: a longer path would name some other disk.
    if (strnlen(path, kDiskPathSize) >= size_t(kDiskPathSize)) {
        rfs_log("disk path too long:%.63s\n", path);
        return -1;
    }
    repair_report_begin(id);
    DiskParamBlock block;
    int r = read_checked_block(path, &block);
    if (r != 0) return r;
    if (!part_count_ok(block)) return -1;
    repair_disk_state(id, path, &block);
    // A label area that cannot be read costs the disk its labels, not its
    // recordings: the disk mounts with an empty head.
    LabelHead head;
    r = mount_load_label_head(path, &block, &head);
    if (r != 0) {
        rfs_log("ret = %d\n", r);
        head = LabelHead{};
    }
    take_marks(id, opts);
    if (!fs_type_ok(block.fs_type())) return -1;
    disk_info_t *d = claim_slot(id);
    if (!d) return RFS_ERR_NO_MEMORY;
    raise_event_index_size(path, block);
    mount_partitions(d, &block, path);
    log_free_space(id, d, block.part_count());
    fill_record(d, id, path, block, head, kind, group);
    g_removed_disk_mask &= ~(1u << id);
    rfs_log("add_disk end\n");
    return 0;
}
