// The event opener of rfs_tseek_for_index: the event is named by a key
// record (disk, partition, data file, event number and its times), so its
// facts come from the disk's index instead of a search.
#include <cstdio>
#include <cstring>

#include "disk/index.h"
#include "disk/paths.h"
#include "disk/registry.h"
#include "frame/log.h"
#include "frame/record_id.h"
#include "frame/storage.h"
#include "frame/time.h"
#include "playback/read_internal.h"

namespace rfs {

namespace {

uint32_t record_id_of(const RfsEventKey &key) {
    return pack_record_id(key.disk, key.partition, key.file_no);
}

// The recorder-side writer keeps the record of the event it is writing in
// g_rfs_fd (counters start at 1). Nothing in this library fills that table,
// and the writer's per-group WriteStateTable slots, which could supply the
// file record the same way, have no layout here: both always miss.
const uint8_t *event_being_written(int gfd, const RfsEventKey &key) {
    for (int i = 0; g_rfs_fd && i < max_rec_nr; ++i) {
        const RfsFdEntry &w = g_rfs_fd[i];
        if (w.in_use && w.gfd == gfd && w.cur_file == key.file_no + 1u &&
            w.cur_event == key.event_no + 1u)
            return w.event;
    }
    return nullptr;
}

int open_data(ReadSession &s, const disk_info_t &d, const RfsEventKey &key) {
    if (s.iframe_fd >= 0) return 0;
    s.iframe_fd = open_data_file(d.path, RFS_O_RDWR | RFS_O_BINARY, key.file_no);
    if (s.iframe_fd < 0) {
        rfs_perror("open err");
        rfs_log("open file %s failed!\n", d.path);
        return RFS_ERR_OPEN;
    }
    rfs_log("open file %s ok,iframe_fd=%d!\n", d.path, s.iframe_fd);
    return 0;
}

// Reads the file record and the event record through the primary index copy.
// An event number beyond the file's event table has no record to read; the
// covered test then refuses it with a zero record.
int read_records(disk_info_t &d, const RfsEventKey &key, uint8_t *file_info, uint8_t *info) {
    int p = key.partition;
    int k = select_index_copy(&d.param, p, true);
    if (k < 0) rfs_log("can't find valid index!\n");
    FdGuard index(open_index_file(d.path, RFS_O_RDWR, k));
    if (index.get() < 0) {
        rfs_log("open %s err\n", d.path);
        return RFS_ERR_OPEN;
    }
    uint64_t file_off = file_record_offset(d.param, key.file_no);
    if (index_read_disk(index.get(), &d, p, file_off, file_info, index_file_info::kSize) != 0) {
        rfs_log("read err\n");
        return RFS_ERR_INDEX_READ;
    }
    if (const uint8_t *w = event_being_written(d.gfd, key)) {
        std::memcpy(info, w, index_event_info::kSize);
        return 0;
    }
    uint32_t per_file = event_table_size(d.param.data_file_size()) / index_event_info::kSize;
    if (key.event_no >= per_file) return 0;
    uint64_t off = event_table_offset(d.param, key.file_no) +
                   uint64_t(key.event_no) * index_event_info::kSize;
    if (index_read_disk(index.get(), &d, p, off, info, index_event_info::kSize) != 0) {
        rfs_log("read err\n");
        return RFS_ERR_INDEX_READ;
    }
    return 0;
}

// The event is intact while its file is in use, the file still counts the
// event and the stored end is not before the key's.
int check_not_covered(const RfsEventKey &key, const uint8_t *file_info, const uint8_t *info) {
    int32_t key_start = int32_t(pack_time(key.start)), key_end = int32_t(pack_time(key.end));
    int32_t stored_start = int32_t(index_event_info::start_time(info));
    int32_t stored_end = int32_t(index_event_info::end_time(info));
    uint8_t state = index_file_info::file_state(file_info);
    uint16_t count = index_file_info::event_nr(file_info);
    if (state != 0 && key.event_no <= count && key_end <= stored_end) return 0;
    rfs_log("event is covered,file_state=%d,counts=%d,disk_event_id=%d,st(%d,%d),et(%d,%d)\n",
            state, count, int(key.event_no), stored_start, key_start, stored_end, key_end);
    return RFS_ERR_COVERED;
}

} // namespace

int open_key_event(ReadSession &s, const RfsEventKey &key, uint8_t *info) {
    uint32_t record_id = record_id_of(key);
    disk_info_t *d = data_file_disk(record_id);
    if (!d) {
        rfs_log("disk is no exist\n");
        return RFS_ERR_MISSING;
    }
    if (d->gfd > kDiskGroups - 1) {
        rfs_log("invalid gfd, gfd:%d\n", d->gfd);
        return RFS_ERR_DISK_GROUP;
    }
    switch_data_file(s, record_id);
    s.event_id = uint16_t(key.event_no);
    s.state = 0;
    s.base = data_file_base(*d, record_id);
    if (int rc = open_data(s, *d, key)) return rc;
    uint8_t file_info[index_file_info::kSize] = {};
    std::memset(info, 0, index_event_info::kSize);
    if (int rc = read_records(*d, key, file_info, info)) return rc;
    return check_not_covered(key, file_info, info);
}

} // namespace rfs
