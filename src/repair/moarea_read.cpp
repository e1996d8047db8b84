#include "repair/moarea_read.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "disk/paths.h"
#include "disk/registry.h"
#include "frame/alloc.h"
#include "frame/log.h"
#include "frame/record_id.h"
#include "frame/storage.h"
#include "frame/time.h"

namespace rfs {

namespace {

constexpr int32_t kFirstSegments = 1024;
constexpr int32_t kSegmentStep = 200;

bool touches(const uint8_t *bitmap, const uint8_t *mask) {
    for (size_t j = 0; j < motion_record::kBitmapSize; ++j)
        if (bitmap[j] & mask[j]) return true;
    return false;
}

RfsDateTime record_time(const uint8_t *r) {
    RfsDateTime t{};
    t.second = r[1];
    t.minute = r[2];
    t.hour = r[3];
    t.day = r[4];
    t.month = r[5];
    t.year = load_le16(r + 6);
    return t;
}

} // namespace

bool SegmentList::append(const uint8_t *record) {
    if (out_->count == capacity_) {
        int32_t grown = capacity_ ? capacity_ + kSegmentStep : kFirstSegments;
        void *p = rfs_realloc(out_->segments, sizeof(MoareaSegment) * size_t(grown));
        if (!p) {
            if (capacity_) rfs_log("realloc event buf err\n");
            drop();
            return false;
        }
        out_->segments = static_cast<MoareaSegment *>(p);
        capacity_ = grown;
    }
    MoareaSegment &s = out_->segments[out_->count++];
    s = MoareaSegment{};
    std::memcpy(&s.start, record, sizeof s.start);
    s.duration = 1;
    return true;
}

void SegmentList::drop() {
    std::free(out_->segments);
    *out_ = MoareaResult{};
    capacity_ = 0;
}

disk_info_t *moarea_disk(const RfsEvent &e) {
    RecordId id = unpack_record_id(e.record_id);
    disk_info_t *d = mounted_disk(id.disk);
    int p = id.partition;
    if (!d || p >= d->param.part_count() || p >= kMaxPartitions) return nullptr;
    return id.file < d->partition[p].file_nr() ? d : nullptr;
}

int read_event_motion(const RfsEvent &e, const disk_info_t &d, const uint8_t *covered,
                      const MotionQuery &q) {
    RecordId id = unpack_record_id(e.record_id);
    FdGuard fd(open_data_file(d.path, RFS_O_RDONLY, id.file));
    if (fd.get() < 0) return RFS_ERR_OPEN;
    uint64_t base = nas_mode() ? 0
                               : d.param.part_base(id.partition) +
                                     uint64_t(data_file_addr(&d.param, id.file));
    int64_t from = datetime_as_utc_seconds(e.start), to = datetime_as_utc_seconds(e.end);
    int64_t last = 0; // segments never join across events
    for (uint32_t s = e.stored_word28; s < e.stored_word56;) {
        uint32_t n = std::min(e.stored_word56 - s, kMoareaChunk);
        if (!read_exact(fd.get(), q.chunk->data(), n, base + s)) {
            rfs_log("read moarea err\n");
            return RFS_ERR_MOAREA_READ;
        }
        s += n;
        if (*covered == 1) {
            rfs_log("data had already recovered\n");
            return RFS_ERR_COVERED;
        }
        for (uint32_t i = 0; i + motion_record::kSize <= n; i += motion_record::kSize) {
            const uint8_t *r = q.chunk->data() + i;
            if (!touches(r + motion_record::kBitmap, q.mask)) continue;
            int64_t rt = datetime_as_utc_seconds(record_time(r));
            if (rt < from || rt > to || rt <= last) continue;
            if (rt > last + q.min_gap) {
                if (!q.segments->append(r)) return RFS_ERR_NO_MEMORY;
            } else {
                q.segments->lengthen(uint32_t(rt - last));
            }
            last = rt;
        }
    }
    return 0;
}

} // namespace rfs
