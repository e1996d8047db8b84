// Reading an event's key-frame index from the end of its data file in
// batches of up to 300 entries, positioned by interpolation, and the frame
// the lookup chose. Entry m (from 1) lies at file_size - m * 32, so m rises
// with time.
#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "disk/paths.h"
#include "disk/registry.h"
#include "frame/buffer.h"
#include "frame/log.h"
#include "frame/record_id.h"
#include "frame/storage.h"
#include "playback/first_iframe.h"
#include "playback/read_internal.h"

namespace rfs {

namespace {

constexpr int64_t kBatch = 300;
// The most this lookup allocates for one key frame and its reference frame.
// The recorder's format sets no limit short of the data file (up to 1 GiB),
// but a key frame, even of a high-resolution camera, takes a few MiB; a
// longer one comes from a damaged or tampered index and is refused before a
// byte is allocated. A host that passes its own buffer decides for itself.
constexpr uint64_t kMaxAllocatedFrame = 16u << 20;
namespace ie = iframe_entry;

struct Batch {
    int fd;
    uint64_t base;
    uint32_t file_size;
    MallocBuffer entries{size_t(kBatch) * ie::kSize};
    int64_t est = 0, cnt = 0;
    const uint8_t *slot(int64_t i) const { return entries.data() + size_t(i) * ie::kSize; }
    int read() {
        uint32_t bytes = uint32_t(cnt * int64_t(ie::kSize));
        uint64_t pos = base + file_size - uint64_t(est + cnt - 1) * ie::kSize;
        int got = storage_read(fd, entries.data(), bytes, pos);
        if (got == int(bytes)) return 0;
        std::perror("read_err");
        rfs_log("read data err%d, %d, %d\n", int(cnt), got, int(bytes));
        return RFS_ERR_DATA_READ;
    }
};

// Moves the batch until it holds the seek time (or the newest entries).
// The number of moves is bounded by the entries, whatever the stored times.
int search_batches(Batch &b, int64_t first_m, int64_t last_m, PackedTime seek) {
    for (int64_t moves = 0; moves <= last_m - first_m + 2; ++moves) {
        PackedTime oldest = ie::time(b.slot(b.cnt - 1));
        if (oldest == seek || b.est == last_m) return 0;
        if (seek < oldest) {
            last_m = b.est;
            b.cnt = std::min(kBatch, last_m - first_m + 1);
            b.est = last_m - first_m < kBatch + 1 ? first_m : last_m - b.cnt;
        } else if (seek <= ie::time(b.slot(0))) {
            return 0;
        } else {
            b.est += b.cnt;
            b.cnt = std::min(kBatch, last_m - b.est + 1);
        }
        if (b.est > last_m || b.cnt <= 0) return -1;
        if (int r = b.read()) return r;
    }
    return -1;
}

bool key_type_ok(char type, bool with_ref) {
    return type == 'I' || type == 'J' || type == 'K' || (with_ref && type == 'V');
}

int check_header(const Batch &b, const uint8_t *entry, bool with_ref) {
    uint8_t head[frame_header::kSize];
    if (!read_exact(b.fd, head, sizeof head, b.base + ie::iframe_offset(entry))) {
        std::perror("read_err");
        rfs_log("read iframe head err\n");
        return -1;
    }
    if (frame_header::tag(head) != kMagicQKFm) {
        rfs_log("FrameTag err\n");
        return -1;
    }
    RfsDateTime t{};
    usec_to_datetime(&t, frame_header::timestamp_us(head));
    char type = frame_header::frame_type(head);
    if (key_type_ok(type, with_ref) && pack_time(t) == ie::time(entry)) return 0;
    rfs_log("write data err, %c, %u,%u\n", type, pack_time(t), ie::time(entry));
    return -1;
}

bool read_part(const Batch &b, uint8_t *to, uint32_t off, uint32_t len) {
    int got = storage_read(b.fd, to, len, b.base + off);
    if (got == int(len)) return true;
    std::perror("read_err");
    rfs_log("read data err%d, %d\n", got, int(len));
    return false;
}

// Whether the frame (and its reference frame) lie inside the data file and
// the disk holds their last bytes. The lengths come from the index, so they
// are proven against the disk before the library allocates what they say: a
// tampered entry cannot make it allocate what the disk does not hold.
bool frame_on_disk(const Batch &b, const uint8_t *entry, bool with_ref) {
    auto held = [&](uint32_t off, uint32_t len) {
        uint8_t last = 0;
        return len == 0 || (uint64_t(off) + len <= b.file_size && read_exact(b.fd, &last, 1, b.base + off + len - 1));
    };
    return held(ie::iframe_offset(entry), ie::iframe_length(entry)) &&
           (!with_ref || held(ie::ref_offset(entry), ie::ref_length(entry)));
}

// The frame (its reference frame first when with_ref) into the host's buffer.
// The header is checked before anything is allocated.
int read_frame(const Batch &b, const uint8_t *entry, bool with_ref, void **buf, int *len) {
    uint64_t ref_len = with_ref ? ie::ref_length(entry) : 0;
    uint64_t need = ref_len + ie::iframe_length(entry);
    bool ours = *buf == nullptr;
    if (!ours && uint64_t(*len) < need) {
        rfs_log("buf is small %d, %d\n", *len, int(need));
    } else if (ours && need > kMaxAllocatedFrame) {
        rfs_log("iframe length is too long! iframeLength = %d len = %d\n", int(need), int(kMaxAllocatedFrame));
    } else if (check_header(b, entry, with_ref) != 0) {
        // logged by the check
    } else if (ours && !frame_on_disk(b, entry, with_ref)) {
        rfs_log("read data err%d, %d\n", -1, int(need)); // as the read of a frame the disk lacks
    } else if (need <= b.file_size && (!ours || (*buf = rfs_malloc(size_t(need))))) {
        auto *to = static_cast<uint8_t *>(*buf);
        if ((!with_ref || read_part(b, to, ie::ref_offset(entry), uint32_t(ref_len))) &&
            read_part(b, to + ref_len, ie::iframe_offset(entry), ie::iframe_length(entry))) {
            *len = int(need);
            return 0;
        }
    } else {
        rfs_log("event info malloc failed\n");
    }
    if (ours) {
        std::free(*buf);
        *buf = nullptr;
    }
    *len = 0;
    return RFS_ERR_KFRAME_INDEX;
}

int pick_and_read(Batch &b, PackedTime seek, void **buf, int *len) {
    int64_t j = b.cnt - 1;
    while (j >= 0 && ie::time(b.slot(j)) < seek) --j;
    if (j < 0) return -1;
    auto has_ref = [&](int64_t i) { return ie::ref_offset(b.slot(i)) != ie::iframe_offset(b.slot(i)); };
    // A plain key frame right before one that brings its reference frame:
    // the later one is delivered, self-contained.
    if (!has_ref(j) && j > 0 && has_ref(j - 1)) --j;
    return read_frame(b, b.slot(j), has_ref(j), buf, len);
}

} // namespace

int event_first_iframe(const RfsEvent &e, PackedTime seek, PackedTime end, void **buf, int *len) {
    const disk_info_t *d = data_file_disk(e.record_id);
    if (!d) {
        rfs_log("pg_disk_list:%d is null\n", unpack_record_id(e.record_id).disk);
        return RFS_ERR_NO_DISK;
    }
    uint32_t file_size = effective_data_file_size(d->param.data_file_size());
    PackedTime es = pack_time(e.start), ee = pack_time(e.end);
    if (end < es || seek > ee) {
        rfs_log("seek_time=(%d, %d), event_time=(%d, %d), err\n", int(seek), int(end), int(es), int(ee));
        return RFS_ERR_TIME;
    }
    // The index lies inside the data file, newest entry lowest.
    bool inside = e.iframe_index_begin <= e.iframe_index_end && e.iframe_index_end <= file_size;
    int64_t first_m = inside ? iframe_entry::number_at(file_size - e.iframe_index_end) + 1 : 1;
    int64_t last_m = inside ? iframe_entry::number_at(file_size - e.iframe_index_begin) : 0;
    if (first_m > last_m || es > ee) {
        rfs_log("write ifram offse or time err\n");
        return RFS_ERR_TIME;
    }
    int file = unpack_record_id(e.record_id).file;
    FdGuard fd(open_data_file(d->path, RFS_O_RDONLY, file));
    if (fd.get() < 0) {
        rfs_log("open err, %s/%d\n", d->path, file);
        return -1;
    }
    Batch b{fd.get(), data_file_base(*d, e.record_id), file_size};
    if (!b.entries) {
        rfs_log("event info malloc failed\n");
        return -1;
    }
    bool interpolate = ee != es && seek > es;
    b.est = interpolate ? first_m + (last_m - first_m) * int64_t(seek - es) / int64_t(ee - es) : first_m;
    b.cnt = std::min(kBatch, last_m - b.est + 1);
    if (b.est > last_m) return -1;
    if (int r = b.read()) return r;
    if (interpolate && search_batches(b, first_m, last_m, seek) != 0) return -1;
    return pick_and_read(b, seek, buf, len);
}

} // namespace rfs
