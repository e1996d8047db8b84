// rfs_get_start_end_time and get_disk_time: the first and last recording of
// all mounted disks, from the record time ranges of their partition records.
// The two differ on purpose in how an empty partition (range start 0) counts.
#include <algorithm>
#include <cstring>

#include "disk/registry.h"
#include "frame/log.h"
#include "frame/time.h"

namespace rfs {

namespace {

template <typename Visit>
void each_partition(Visit visit) {
    for (int slot = 0; slot < kMaxDisks; ++slot) {
        const disk_info_t *d = pg_disk_list[slot];
        if (!d) continue;
        int parts = std::min<int>(d->param.part_count(), kMaxPartitions);
        for (int p = 0; p < parts; ++p) visit(d->partition[p]);
    }
}

} // namespace

} // namespace rfs

using namespace rfs;

extern "C" RFS_API int rfs_get_start_end_time(RfsDateTime *start, RfsDateTime *end) noexcept {
    if (!start || !end) {
        rfs_log("invalid time\n");
        return RFS_ERR_TIME;
    }
    uint32_t first = 0xFFFFFFFFu, last = 0;
    each_partition([&](const PartitionRecord &part) {
        if (part.record_start() == 0) return; // an empty partition counts for nothing
        first = std::min(first, part.record_start());
        last = std::max(last, part.record_end());
    });
    if (last == 0 || first == 0xFFFFFFFFu) {
        std::memset(start, 0, sizeof *start);
        std::memset(end, 0, sizeof *end);
        return 0;
    }
    unpack_time(first, start);
    unpack_time(last, end);
    return 0;
}

// An empty partition sets the running start back to 0 and the next one
// replaces it; its end still counts. Null pointers are refused like the
// other form's, where the recorder's own call would have crashed.
extern "C" RFS_API int get_disk_time(RfsDateTime *start, RfsDateTime *end) noexcept {
    if (!start || !end) return RFS_ERR_TIME;
    uint32_t first = 0, last = 0;
    each_partition([&](const PartitionRecord &part) {
        if (first == 0 || first > part.record_start()) first = part.record_start();
        last = std::max(last, part.record_end());
    });
    unpack_time(first, start);
    unpack_time(last, end);
    return 0;
}
