// The format and size reports of the disk parameter block.
#include <cstdint>

#include "disk/param.h"
#include "disk/registry.h"
#include "frame/log.h"

using namespace rfs;

namespace {

// Ids from 32 up print the oversize line; negative ids are out of range too
// and are refused the same way instead of indexing in front of the table.
disk_info_t *disk_for_report(int id) {
    if (id < 0 || id >= kMaxDisks) {
        rfs_print("id is oversize!");
        return nullptr;
    }
    if (!pg_disk_list[id]) rfs_print("id is invalid!!!");
    return pg_disk_list[id];
}

} // namespace

extern "C" RFS_API int rfs_format_is_valid(const char *path) noexcept {
    if (!path) return RFS_ERR_NULL;
    DiskParamBlock block;
    int r = read_disk_param(path, &block);
    if (r == 0) r = check_disk_param(&block);
    if (r != 0) rfs_log("ret = %d\n", r);
    return r;
}

extern "C" RFS_API int rfs_get_data_file_size(int id) noexcept {
    disk_info_t *d = disk_for_report(id);
    return d ? int(d->param.data_file_size()) : -1;
}

extern "C" RFS_API int rfs_get_disk_size(int id, uint32_t *total_mb, uint32_t *free_mb,
                                         uint8_t *fs_type) noexcept {
    disk_info_t *d = disk_for_report(id);
    if (!d) return -1;
    if (!total_mb || !free_mb || !fs_type) return RFS_ERR_NULL;
    uint32_t free_files = 0;
    int parts = d->param.part_count() < kMaxPartitions ? d->param.part_count() : kMaxPartitions;
    for (int p = 0; p < parts; ++p)
        if (d->partition[p].part_state() != PartitionRecord::kStateBad)
            free_files += d->partition[p].free_file_nr();
    uint32_t unit = d->param.data_file_size() >> 20;
    *free_mb = unit * free_files;
    *total_mb = d->param.total_size_mb();
    *fs_type = d->param.fs_type();
    rfs_log("disk[%d]:%s,freeSize:%d*%d=%d MB,totalSize:%d MB\n", id, d->path, int(unit),
            int(free_files), int(*free_mb), int(*total_mb));
    return 0;
}
