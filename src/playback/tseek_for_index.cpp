// rfs_tseek_for_index: the time seek on an event named by a key record. It
// keeps its own differences from rfs_tseek: the event's facts come from the
// index, every short index read is a read error, the walk ends at the ends of
// the index whatever the mode, and reading starts at the key frame itself.
#include "disk/layout.h"
#include "disk/registry.h"
#include "frame/log.h"
#include "frame/time.h"
#include "playback/read_internal.h"

namespace rfs {

namespace {

SeekTarget target_of(const uint8_t *info, const RfsDateTime &seek_time, int mode) {
    SeekTarget t{};
    t.first = iframe_entry::number_at(index_event_info::last_iframe_pos(info));
    t.last = iframe_entry::number_at(index_event_info::iframe_top(info)) - 1;
    t.start = int32_t(index_event_info::start_time(info));
    t.end = int32_t(index_event_info::end_time(info));
    t.seek = int32_t(pack_time(seek_time));
    t.mode = mode;
    t.from_key = true;
    return t;
}

int seek_key_event(ReadSession &s, const RfsDateTime &seek_time, int mode,
                   const RfsEventKey &key) {
    rfs_log("seek time:%d-%d-%d %d:%d:%d\n", seek_time.year, seek_time.month, seek_time.day,
            seek_time.hour, seek_time.minute, seek_time.second);
    uint8_t info[index_event_info::kSize];
    if (int rc = open_key_event(s, key, info)) return rc;
    SeekTarget t = target_of(info, seek_time, mode);
    const disk_info_t *d = pg_disk_list[key.disk]; // checked by the opener
    uint32_t file_size = effective_data_file_size(d->param.data_file_size());
    uint32_t data_start = index_event_info::data_start(info);
    uint32_t data_size = index_event_info::data_size(info);
    int rc = check_seek_target(t, data_start, data_size, index_event_info::iframe_top(info),
                               file_size);
    if (rc == 0) rc = ensure_index_cache(s);
    if (rc < 0) return rc;
    s.cache_first = s.cache_count = 0;
    int32_t est = find_key_frame(s, t);
    if (est < 0) return est;
    // Reads use the event's data range, so it is taken even though the seek
    // leaves kf_done, kf_phase and last_ref_offset as they were.
    s.data_start = data_start;
    s.data_size = data_size;
    s.offset = iframe_entry::iframe_offset(cached_entry(s, est));
    if (!inside_event(s, s.offset)) {
        rfs_log("write data err\n");
        return RFS_ERR_FAILED;
    }
    s.first_index = t.first;
    s.last_index = t.last;
    s.cur_index = est;
    return 0;
}

} // namespace

} // namespace rfs

using namespace rfs;

extern "C" RFS_API int rfs_tseek_for_index(int rd, const RfsDateTime *seek_time, int mode,
                                           int reserved, const RfsEventKey *key) noexcept {
    (void)reserved;
    if (unsigned(rd) > unsigned(kReadSessions - 1)) {
        rfs_log("fs find start invalid fd!\n");
        return RFS_ERR_HANDLE;
    }
    if (!seek_time || !key) {
        rfs_log("para err!\n");
        return RFS_ERR_NULL;
    }
    return seek_key_event(g_read_session[rd], *seek_time, mode, *key);
}
