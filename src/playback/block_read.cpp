// The common reader of media data: 4 KB-aligned reads straight into the
// host's buffer, one storage call per delivery, no copy of our own.
#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "frame/log.h"
#include "playback/read_internal.h"

namespace rfs {

namespace {

int64_t round_up_4k(int64_t n) { return (n + (kMediaAlign - 1)) & ~int64_t(kMediaAlign - 1); }

// Error numbers with which a failed read means the disk or share has gone.
bool disk_unstable(int err) {
    return err == EIO || err == EFAULT || err == EHOSTDOWN || err == EBADF;
}

// A read that brought less than asked: judged by its error number, then by
// whether it stopped inside the event. Its bytes are not reported.
int short_read(ReadSession &s, int got, int err, int64_t want, int64_t rl) {
    if (got > 0) s.offset += uint32_t(got); // a failed read (-1) moved nothing
    if (disk_unstable(err)) {
        rfs_log("Hdd state is not stable\n");
        return RFS_ERR_UNSTABLE;
    }
    if (s.offset < event_data_end(s)) {
        errno = err;
        rfs_perror("read_err");
        rfs_log("read data err%d, %d\n", got, int(rl));
        return RFS_ERR_DATA_READ;
    }
    rfs_log("chn%d read data end, start:%d, size:%d, offset:%d, iframeLen:%d, read len:%d\n", s.chn,
            s.data_start, s.data_size, s.offset, int(want), int(rl));
    return 0;
}

} // namespace

int block_read(int rd, ReadSession &s, void *buf, int len, unsigned *head_skip, int64_t want) {
    const uint64_t end = event_data_end(s);
    if (s.offset >= end) {
        rfs_log("rd = %d, chn%d read data end, start:%d, size:%d, offset:%d, read len: %d\n", rd,
                s.chn, s.data_start, s.data_size, s.offset, int(int64_t(end) - s.offset));
        if (s.iframe_fd != -1) return 0;
        rfs_log("invalid playback param,return\n");
        return RFS_ERR_TIME;
    }
    *head_skip = s.offset & (kMediaAlign - 1);
    s.offset -= *head_skip;
    const int64_t remaining = int64_t(end) - s.offset;
    if (want != 0 && *head_skip + want > remaining) {
        rfs_log("iframe is broken len = %d read_len = %d\n", int(want), 0);
        s.offset = uint32_t(end);
        return 0;
    }
    int64_t rl = len, result = std::min<int64_t>(len, remaining);
    if (want != 0) {
        const int64_t need = *head_skip + want;
        rl = std::min<int64_t>(round_up_4k(need), len);
        result = std::min(rl, need);
    }
    // Also refuses a negative length, which no buffer has.
    if (rl < 0 || rl % kMediaAlign != 0) {
        rfs_log("err\n");
        return RFS_ERR_BUFFER;
    }
    int err = 0;
    int got = read_with_errno(s.iframe_fd, buf, uint32_t(rl), s.base + s.offset, &err);
    if (got < rl) return short_read(s, got, err, want, rl);
    rfs_log("read_data_from:%d, read_data_len:%d\n", s.offset, int(rl));
    s.offset += uint32_t(result);
    if (s.state == 1) {
        rfs_log("data had already recovered\n");
        return RFS_ERR_COVERED;
    }
    return int(result);
}

} // namespace rfs
