#include "disk_layout.h"

#include "errors.h"
#include "time_text.h"

namespace cli {

namespace {

PartitionView partition_view(int p, const RfsPartitionInfo &info) {
    PartitionView view;
    view.index = p;
    view.info = info;
    view.readable = info.record_ok != 0;
    view.copy = primary_copy(info.index_flags);
    view.file_nr = info.file_nr;
    view.free_file_nr = info.free_file_nr;
    view.state = info.state;
    view.repair_flag = info.repair_flag;
    view.record_start = packed(info.record_start);
    view.record_end = packed(info.record_end);
    view.picture_start = packed(info.pic_start);
    view.picture_end = packed(info.pic_end);
    return view;
}

} // namespace

int primary_copy(uint8_t flags) {
    for (int k = 0; k < 4; ++k)
        if (flags & (1 << k)) return k;
    return -1;
}

DiskView read_disk_view(int id) {
    DiskView view;
    RfsPartitionInfo info{};
    for (int p = 0;; ++p) {
        int rc = rfs_get_partition_info(id, p, &info);
        if (rc == RFS_ERR_MISSING) break;
        if (rc != 0) throw ToolError("disk " + std::to_string(id) + " is not mounted: " + error_text(rc));
        view.part_count = info.part_count;
        view.disk_state = info.disk_state;
        view.partitions.push_back(partition_view(p, info));
    }
    return view;
}

std::string packed_time_text(uint32_t t) {
    if (t == 0) return "-";
    return time_text(make_time(int(t >> 26) + 2000, (t >> 22) & 15, (t >> 17) & 31, (t >> 12) & 31,
                               (t >> 6) & 63, t & 63));
}

} // namespace cli
