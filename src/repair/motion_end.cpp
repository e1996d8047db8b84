// The end of an interrupted event's motion records.
#include <algorithm>
#include <cstdio>

#include "frame/buffer.h"
#include "frame/log.h"
#include "frame/storage.h"
#include "repair/last_kframe.h"

namespace rfs {

namespace {
constexpr uint32_t kMotionChunk = 0x14000; // 1024 records
}

int find_motion_end(int fd, uint8_t *event, uint64_t base, int end) {
    namespace ev = index_event_info;
    MallocBuffer chunk(kMotionChunk);
    if (!chunk) {
        rfs_log("malloc index_event_info err\n");
        return RFS_ERR_NO_MEMORY;
    }
    uint32_t start = ev::moarea_start(event);
    rfs_log("m_start:%d\n", int((start - kMotionAreaStart) / motion_record::kSize));
    int64_t found = 0;
    for (int64_t pos = start; pos < end && found == 0;) {
        uint32_t n = uint32_t(std::min<int64_t>(end - pos, kMotionChunk));
        int got = storage_read(fd, chunk.data(), n, base + uint64_t(pos));
        if (got != int(n)) {
            std::perror("read_err");
            rfs_log("read data err%d, %d\n", got, int(n));
            return RFS_ERR_DATA_READ;
        }
        for (uint32_t i = 0; i < n / motion_record::kSize && found == 0; ++i)
            if (motion_record::is_end(chunk.data() + size_t(i) * motion_record::kSize))
                found = pos + int64_t(i) * int64_t(motion_record::kSize);
        pos += n;
    }
    if (found > 0) {
        rfs_log("m_end:%d\n", int((uint32_t(found) - kMotionAreaStart) / motion_record::kSize));
        ev::set_moarea_end(event, uint32_t(found));
        return 0;
    }
    ev::set_moarea_end(event, start);
    rfs_log("not find end mobit, then end_offset = start_offset\n");
    return -1;
}

} // namespace rfs
