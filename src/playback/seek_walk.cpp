// The key-frame seek: an interpolated first guess into the event's key-frame
// index, then a linear walk to the key frame at or next to the wanted time.
// The index is newest first, so a later time is a lower index number.
#include <cerrno>
#include <cstdio>

#include "disk/layout.h"
#include "disk/paths.h"
#include "frame/log.h"
#include "playback/read_internal.h"

namespace rfs {

namespace {

// Interpolates from the end time, because the lowest number is the newest.
int32_t estimate_index(const SeekTarget &t) {
    if (t.end == t.start) return t.last;
    int64_t span = int64_t(t.last) - t.first;
    return int32_t(t.first + span * (int64_t(t.end) - t.seek) / (int64_t(t.end) - t.start));
}

int log_short_index_read(const ReadSession &s, int32_t n, int got, const char *what) {
    rfs_perror(what);
    rfs_log("start:%d, count:%d err\n", int(index_block_pos(s, n)), got);
    return RFS_ERR_DATA_READ;
}

// The time of entry n, loading its block when the walk has left the cached one.
int entry_time(ReadSession &s, int32_t n, int32_t *time) {
    if (!cache_holds(s, n)) {
        int got = read_index_block(s, n);
        if (got != int(kIndexBlockSize)) return log_short_index_read(s, n, got, "read_err:\n");
        if (s.state == 1) {
            rfs_log("data had already recovered\n");
            return RFS_ERR_COVERED;
        }
    }
    *time = int32_t(iframe_entry::time(cached_entry(s, n)));
    return 0;
}

// The wanted time is later than est's: walk toward the newest key frame.
int walk_later(ReadSession &s, const SeekTarget &t, int32_t *est) {
    int32_t n = *est, time = 0;
    for (; n >= t.first; --n) {
        if (int rc = entry_time(s, n, &time)) return rc;
        if (t.seek <= time) break;
    }
    if (n >= t.first) {
        *est = (t.seek < time && t.mode == 1) ? n + 1 : n;
        return 0;
    }
    if (t.from_key) return RFS_ERR_FAILED; // silently, whatever the mode
    if (t.mode == 1) {
        *est = t.first;
        return 0;
    }
    rfs_log("------- offset = %d , start_pos = %d\n", n, t.first);
    return RFS_ERR_FAILED;
}

// The wanted time is earlier than est's: walk toward the oldest key frame. On
// a key record the walk stops at the oldest entry without testing its time.
int walk_earlier(ReadSession &s, const SeekTarget &t, int32_t *est) {
    const int32_t stop = t.from_key ? t.last - 1 : t.last;
    int32_t n = *est, time = 0;
    if (t.from_key && n > t.last) return RFS_ERR_FAILED;
    for (; n <= stop; ++n) {
        if (int rc = entry_time(s, n, &time)) return rc;
        if (t.seek >= time) break;
    }
    if (n <= stop) {
        *est = (t.seek > time && t.mode == 0) ? n - 1 : n;
        return 0;
    }
    if (t.from_key || t.mode == 0) {
        *est = t.last;
        return 0;
    }
    rfs_log("--------offset = %d,  end_pos = %d\n", n, t.last);
    return RFS_ERR_FAILED;
}

// The first block read of a seek; on an event from a search a read that
// failed because the disk went away is reported as such.
int read_first_block(ReadSession &s, const SeekTarget &t, int32_t est) {
    int got = read_index_block(s, est);
    if (got == int(kIndexBlockSize)) return 0;
    int err = errno;
    log_short_index_read(s, est, got, "read_err:");
    if (t.disk_path && is_disk_dropped(t.disk_path, err)) return RFS_ERR_UNSTABLE;
    return RFS_ERR_DATA_READ;
}

} // namespace

int check_seek_target(const SeekTarget &t, uint32_t data_start, uint32_t data_size,
                      uint32_t index_end, uint32_t file_size) {
    if (t.seek < t.start || t.seek > t.end) {
        rfs_log("input seek_time param err, must in start_time and end_time\n");
        return RFS_ERR_TIME;
    }
    // The record is untrusted: its key-frame range and its media must also
    // lie inside the data file, so no read leaves it on a raw device.
    bool fits = index_end <= file_size && uint64_t(data_start) + data_size <= file_size;
    if (t.first > t.last || t.start > t.end || !fits) {
        rfs_log("write ifram offse or time err\n");
        return RFS_ERR_TIME;
    }
    return 0;
}

int find_key_frame(ReadSession &s, const SeekTarget &t) {
    int32_t est = estimate_index(t);
    rfs_log("estimate index pos:%d \n", est);
    if (int rc = read_first_block(s, t, est)) return rc;
    rfs_log("estimate index in buf pos:%d \n", est - s.cache_first);
    int32_t time = int32_t(iframe_entry::time(cached_entry(s, est)));
    int rc = 0;
    if (t.seek > time) rc = walk_later(s, t, &est);
    else if (t.seek < time) rc = walk_earlier(s, t, &est);
    if (rc < 0) return rc;
    if (!cache_holds(s, est)) {
        int got = read_index_block(s, est);
        if (got != int(kIndexBlockSize)) return log_short_index_read(s, est, got, "read_err:\n");
    }
    return est;
}

} // namespace rfs
