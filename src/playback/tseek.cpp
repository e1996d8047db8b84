// rfs_tseek: positions a read session on an event found by a search, at the
// key frame chosen by a time and a direction.
#include <cerrno>
#include <cstdio>

#include "disk/paths.h"
#include "disk/registry.h"
#include "frame/log.h"
#include "frame/record_id.h"
#include "frame/time.h"
#include "playback/read_internal.h"

namespace rfs {

namespace {

// The search's own copy of the event, which carries the covered mark. The
// event sits in the list of its list channel (channel 0 in a merged search).
int find_search_copy(const RfsEvent &ev, const RfsEvent **copy) {
    const SearchSession *ss = ev.handle < kSearchSessions ? &g_search[ev.handle] : nullptr;
    if (!ss || ss->state == 0) {
        rfs_log("%d handle isn't exist\n", ev.handle);
        return RFS_ERR_HANDLE;
    }
    int32_t pos = int32_t(ev.sequence);
    int chn = ev.list_chn;
    if (chn >= max_rec_chn || !ss->data_len || !ss->event_list || pos < 0 ||
        pos >= ss->data_len[chn] || !ss->event_list[chn]) {
        rfs_log("the event is not in memory\n");
        return RFS_ERR_POSITION;
    }
    *copy = &ss->event_list[chn][pos];
    return 0;
}

int open_event_file(ReadSession &s, const disk_info_t &d, uint32_t record_id) {
    if (s.iframe_fd >= 0) return 0;
    rfs_log("kkkkkkkkkkkkkkkopen %s iframe_fd\n", d.path);
    RecordId id = unpack_record_id(record_id);
    s.iframe_fd = open_data_file(d.path, RFS_O_RDONLY | RFS_O_BINARY, id.file);
    if (s.iframe_fd >= 0) return 0;
    int err = errno;
    rfs_log("open file %s failed!\n", d.path);
    bool gone = !mounted_disk(id.disk) || is_disk_dropped(d.path, err);
    return gone ? RFS_ERR_UNSTABLE : RFS_ERR_OPEN;
}

// Reading starts with the reference frame when the key frame has one.
int position_on(ReadSession &s, int32_t est, const RfsEvent &ev) {
    const uint8_t *e = cached_entry(s, est);
    uint32_t iframe = iframe_entry::iframe_offset(e), ref = iframe_entry::ref_offset(e);
    s.offset = ref != iframe ? ref : iframe;
    s.kf_done = ref != iframe ? 0 : 1;
    s.data_start = ev.data_start;
    s.data_size = ev.data_size;
    if (!inside_event(s, s.offset)) {
        rfs_log("write data err\n");
        return RFS_ERR_FAILED;
    }
    return 0;
}

// The newest key frame bounds the readable data: what follows its end is
// not played. Its block goes into the cache (an unreadable one leaves the
// cache empty); reads and key-frame steps load the block they need again.
int apply_tail_check(ReadSession &s) {
    if (!cache_holds(s, s.first_index)) {
        int got = read_index_block(s, s.first_index);
        if (got != int(kIndexBlockSize)) {
            rfs_perror("read_err:\n");
            rfs_log("start:%d, count:%d err\n", int(index_block_pos(s, s.first_index)), got);
            rfs_log("time_seek end\n");
            return 0; // the seek stands
        }
    }
    const uint8_t *e = cached_entry(s, s.first_index);
    uint32_t length = iframe_entry::iframe_length(e), at = iframe_entry::iframe_offset(e);
    if (length != 0 && at > s.data_start) {
        uint64_t tail = uint64_t(length) + (at - s.data_start);
        if (s.data_size > tail) s.data_size = uint32_t(tail);
    }
    if (!inside_event(s, s.offset)) {
        rfs_log("write data err\n");
        return RFS_ERR_FAILED;
    }
    rfs_log("time_seek end\n");
    return 0;
}

SeekTarget target_of(const RfsEvent &ev, const RfsDateTime &seek_time, int mode) {
    SeekTarget t{};
    t.first = iframe_entry::number_at(ev.iframe_index_begin);
    t.last = iframe_entry::number_at(ev.iframe_index_end) - 1;
    t.start = int32_t(pack_time(ev.start));
    t.end = int32_t(pack_time(ev.end));
    t.seek = int32_t(pack_time(seek_time));
    t.mode = mode;
    return t;
}

// Steps up to the open data file: the disk, the event record, the search.
int check_event(ReadSession &s, const RfsEvent &ev, const SeekTarget &t, disk_info_t **disk) {
    int slot = unpack_record_id(ev.record_id).disk;
    if (!mounted_disk(slot) || g_max_part_file_nr == 0) {
        rfs_log("pg_disk_list:%d is null\n", slot);
        rfs_log(mounted_disk(slot) ? "time_seek 3294 0 = g_max_part_file_nr\n"
                                   : "time_seek 3284 NULL = pg_disk_list[id]\n");
        return RFS_ERR_NO_DISK;
    }
    disk_info_t *d = data_file_disk(ev.record_id);
    if (!d) {
        rfs_log("disk is no exist\n");
        return RFS_ERR_MISSING;
    }
    uint32_t file_size = effective_data_file_size(d->param.data_file_size());
    int rc = check_seek_target(t, ev.data_start, ev.data_size, ev.iframe_index_end, file_size);
    if (rc == 0) rc = ensure_index_cache(s);
    const RfsEvent *copy = nullptr;
    if (rc == 0) rc = find_search_copy(ev, &copy);
    if (rc < 0) return rc;
    switch_data_file(s, ev.record_id);
    s.event_id = ev.event_id;
    s.base = data_file_base(*d, ev.record_id);
    s.cache_first = s.cache_count = 0;
    s.state = copy->covered;
    if (s.state == 1) {
        rfs_log("the event had been covered\n");
        return RFS_ERR_COVERED;
    }
    *disk = d;
    return 0;
}

int seek_search_event(ReadSession &s, const RfsDateTime &seek_time, int mode, const RfsEvent &ev,
                      bool check_tail) {
    rfs_log("time_seek start\n");
    rfs_log("seek time:%d-%d-%d %d:%d:%d\n", seek_time.year, seek_time.month, seek_time.day,
            seek_time.hour, seek_time.minute, seek_time.second);
    SeekTarget t = target_of(ev, seek_time, mode);
    disk_info_t *d = nullptr;
    int rc = check_event(s, ev, t, &d);
    if (rc == 0) rc = open_event_file(s, *d, ev.record_id);
    if (rc < 0) return rc;
    t.disk_path = d->path;
    int32_t est = find_key_frame(s, t);
    if (est < 0) return est;
    if (int pos_rc = position_on(s, est, ev)) return pos_rc;
    s.cur_index = est;
    s.first_index = t.first;
    s.last_index = t.last;
    s.kf_phase = 0;
    s.last_ref_offset = 0;
    if (check_tail) return apply_tail_check(s);
    rfs_log("time_seek end\n");
    return 0;
}

} // namespace

} // namespace rfs

using namespace rfs;

extern "C" RFS_API int rfs_tseek(int rd, const RfsDateTime *seek_time, int mode, int reserved,
                                 const RfsEvent *event, char check_tail) noexcept {
    (void)reserved;
    if (unsigned(rd) > unsigned(kReadSessions - 1)) {
        rfs_log("fs find start invalid fd!\n");
        return RFS_ERR_HANDLE;
    }
    if (!seek_time || !event) {
        rfs_log("para err!\n");
        return RFS_ERR_NULL;
    }
    return seek_search_event(g_read_session[rd], *seek_time, mode, *event, check_tail != 0);
}
