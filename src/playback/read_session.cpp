// The 64 read sessions: claiming and releasing a slot, and the data file a
// session has open.
#include <cerrno>

#include "disk/paths.h"
#include "disk/registry.h"
#include "frame/log.h"
#include "frame/record_id.h"
#include "frame/storage.h"
#include "playback/read_internal.h"

namespace rfs {

void switch_data_file(ReadSession &s, uint32_t record_id) {
    RecordId old = unpack_record_id(s.record_id), now = unpack_record_id(record_id);
    rfs_log("pre_record_id:[%d:%d:%d], now:[%d:%d:%d], pre_data_fd:%d, pre_iframe_fd:%d\n",
            old.disk, old.partition, old.file, now.disk, now.partition, now.file, s.iframe_fd,
            s.iframe_fd);
    if (s.record_id == record_id) return;
    if (s.iframe_fd >= 0) storage_close(s.iframe_fd);
    s.iframe_fd = -1;
    s.record_id = record_id;
}

void forget_position(ReadSession &s) {
    s.offset = s.data_start;
    s.data_size = 0;
    s.kf_done = 1;
    s.cur_index = 0;
    s.first_index = 0;
    s.last_index = -1;
    s.cache_first = s.cache_count = 0;
}

// An event names its partition and data file by number; both must exist on
// the mounted disk before they are used to index its tables or to compute a
// device address.
disk_info_t *data_file_disk(uint32_t record_id) {
    RecordId id = unpack_record_id(record_id);
    disk_info_t *d = mounted_disk(id.disk);
    int p = id.partition;
    if (!d || p >= d->param.part_count() || p >= kMaxPartitions) return nullptr;
    return id.file < d->partition[p].file_nr() ? d : nullptr;
}

uint64_t data_file_base(const disk_info_t &d, uint32_t record_id) {
    if (nas_mode()) return 0;
    RecordId id = unpack_record_id(record_id);
    return d.param.part_base(id.partition) + uint64_t(data_file_addr(&d.param, id.file));
}

int read_with_errno(int fd, void *buf, uint32_t len, uint64_t pos, int *err) {
    errno = 0;
    int got = storage_read(fd, buf, len, pos);
    *err = errno;
    return got;
}

} // namespace rfs

using namespace rfs;

extern "C" RFS_API int rfs_read_start(int chn) noexcept {
    for (int rd = 0; rd < kReadSessions; ++rd) {
        if (g_read_session[rd].in_use) continue;
        g_read_session[rd].in_use = 1;
        g_read_session[rd].chn = chn;
        return rd;
    }
    return RFS_ERR_NO_READ_SESSION;
}

extern "C" RFS_API int rfs_read_stop(int rd) noexcept {
    if (unsigned(rd) > unsigned(kReadSessions - 1)) {
        rfs_log("invalid param\n");
        return RFS_ERR_HANDLE;
    }
    ReadSession &s = g_read_session[rd];
    if (s.in_use) release_read_session(s);
    return 0;
}
