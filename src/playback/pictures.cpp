// rfs_get_pic hands out a picture session's list; rfs_read_pic reads one
// picture's bytes through a read session's descriptor, so picture reads and
// media reads on one session share the open file.
#include <algorithm>
#include <cerrno>

#include "disk/paths.h"
#include "disk/registry.h"
#include "frame/log.h"
#include "frame/record_id.h"
#include "playback/read_internal.h"
#include "search/pic_search.h"

namespace rfs {

namespace {

constexpr uint8_t kPictureSession = 2;

// The search's own copy of the picture, which carries the covered state.
int find_listed_pic(const RfsPic &pic, const RfsPic **listed) {
    if (pic.handle > kSearchSessions) {
        rfs_log("%d handle out of range\n", pic.handle);
        return RFS_ERR_SEARCH_HANDLE;
    }
    const SearchSession *ss = pic.handle < kSearchSessions ? &g_search[pic.handle] : nullptr;
    if (!ss || ss->state == 0 || pic.slot >= max_rec_chn || !ss->pic_list ||
        !ss->pic_list[pic.slot]) {
        rfs_log("%d handle isn't exist\n", pic.handle);
        return RFS_ERR_HANDLE;
    }
    // A position equal to the count names no picture either.
    int32_t pos = int32_t(pic.sequence);
    if (pos < 0 || pos >= ss->data_len[pic.slot]) {
        rfs_log("the event is not in memory\n");
        return RFS_ERR_POSITION;
    }
    *listed = &ss->pic_list[pic.slot][pos];
    return 0;
}

// One descriptor serves a whole raw disk, one data file of a NAS disk. A
// session moved to another one loses its place in the event it was reading.
int open_picture_file(ReadSession &s, const disk_info_t &d, uint32_t record_id) {
    RecordId now = unpack_record_id(record_id), had = unpack_record_id(s.record_id);
    bool same = nas_mode() ? s.record_id == record_id : had.disk == now.disk;
    if (!same) {
        switch_data_file(s, record_id);
        forget_position(s);
    }
    if (s.iframe_fd >= 0) return 0;
    s.iframe_fd = open_data_file(d.path, RFS_O_BINARY, now.file);
    if (s.iframe_fd >= 0) return 0;
    rfs_log("open file %s failed!\n", d.path);
    rfs_perror("open pic fd failed:");
    return RFS_ERR_OPEN;
}

int read_picture(ReadSession &s, const disk_info_t &d, const RfsPic &pic, void *buf, int len,
                 unsigned *head_skip) {
    // The record comes from disk: its bytes must lie inside their data file.
    uint64_t file_size = effective_data_file_size(d.param.data_file_size());
    if (uint64_t(pic.offset) + pic.pic_length > file_size) {
        rfs_log("pic out of data file, offset = %u length = %u\n", pic.offset, pic.pic_length);
        return RFS_ERR_DATA_READ;
    }
    uint32_t skip = pic.offset & (kMediaAlign - 1);
    *head_skip = skip;
    uint64_t rl = (uint64_t(pic.pic_length) + skip + kMediaAlign - 1) & ~uint64_t(kMediaAlign - 1);
    if (rl > uint64_t(std::max(len, 0))) {
        rfs_log("pic length is too long! externLength = %d len = %d\n", int(rl), len);
        return 0;
    }
    uint64_t at = data_file_base(d, pic.record_id) + (pic.offset - skip);
    int err = 0;
    if (read_with_errno(s.iframe_fd, buf, uint32_t(rl), at, &err) == int(rl)) return int(rl);
    rfs_log("read data error\n");
    errno = err;
    rfs_perror("read failed:");
    return RFS_ERR_DATA_READ;
}

} // namespace

} // namespace rfs

using namespace rfs;

extern "C" RFS_API int rfs_get_pic(int handle, int chn, RfsPicList *out) noexcept {
    if (unsigned(handle) >= unsigned(kSearchSessions)) return RFS_ERR_HANDLE;
    if (chn < 0 || chn >= max_rec_chn) return RFS_ERR_CHANNEL;
    if (!out) {
        rfs_log("pointer is null!\n");
        return RFS_ERR_NULL;
    }
    const SearchSession &s = g_search[handle];
    if (s.state != kPictureSession) {
        rfs_log("%d handle isn't exist\n", handle);
        return RFS_ERR_SEARCH_HANDLE;
    }
    out->list = s.pic_list[chn];
    out->count = std::min(s.data_len[chn], kPicListKeep);
    return 0;
}

extern "C" RFS_API int rfs_read_pic(int rd, const RfsPic *pic, void *buf, int len,
                                    unsigned *head_skip) noexcept {
    if (unsigned(rd) >= unsigned(kReadSessions)) {
        rfs_log("rd is invalid\n");
        return RFS_ERR_SEARCH_HANDLE;
    }
    if (!buf) {
        rfs_log("buf is NULL\n");
        return RFS_ERR_NO_MEMORY;
    }
    if (!pic || !head_skip) {
        rfs_log("para err!\n");
        return RFS_ERR_NULL;
    }
    *head_skip = 0;
    ReadSession &s = g_read_session[rd];
    // A session the host has not claimed would keep the file open unseen.
    if (!s.in_use) {
        rfs_log("rd=%d not use!\n", rd);
        return RFS_ERR_HANDLE;
    }
    const RfsPic *listed = nullptr;
    if (int r = find_listed_pic(*pic, &listed)) return r;
    if (listed->state == 1) {
        dump_pic_record(listed, 0);
        return RFS_ERR_COVERED;
    }
    if (!mounted_disk(unpack_record_id(pic->record_id).disk)) return RFS_ERR_NO_DISK;
    disk_info_t *d = data_file_disk(pic->record_id);
    if (!d) {
        rfs_log("disk is no exist\n");
        return RFS_ERR_MISSING;
    }
    if (int r = open_picture_file(s, *d, pic->record_id)) return r;
    return read_picture(s, *d, *pic, buf, len, head_skip);
}
