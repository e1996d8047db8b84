// The label-head load of a mount. The head's per-half time ranges are what
// lets a label search skip a half, so they are recomputed from the records
// rather than trusted as stored.

#include "disk/label_area.h"
#include "disk/paths.h"
#include "frame/buffer.h"
#include "frame/log.h"
#include "frame/state.h"
#include "frame/storage.h"
#include "frame/time.h"

namespace rfs {

namespace {

constexpr uint32_t kLabelRecords = 2 * kLabelsPerHalf;

void widen_half(LabelHead *head, int half, PackedTime t) {
    if (head->earliest(half) == 0 || head->earliest(half) > t) head->set_earliest(half, t);
    if (t > head->latest(half)) head->set_latest(half, t);
}

// Scans one half's records: the Lend record and the range of valid labels.
bool scan_half(const uint8_t *records, int half, LabelHead *head) {
    namespace lr = label_record;
    bool lend = false;
    head->set_earliest(half, 0);
    head->set_latest(half, 0);
    for (uint32_t i = 0; i < kLabelsPerHalf; ++i) {
        const uint8_t *r = records + size_t(i) * lr::kSize;
        if (lr::end_marker(r) == kMagicLend) {
            head->set_end_record(uint32_t(half) * kLabelsPerHalf + i);
            lend = true;
        }
        if (lr::state(r) == lr::kStateValid) widen_half(head, half, lr::time(r));
    }
    return lend;
}

int scan_halves(int fd, const DiskParamBlock &b, LabelHead *head) {
    MallocBuffer buf(kLabelHalfSize);
    if (!buf) {
        rfs_log("err\n");
        return -1;
    }
    bool lend = false;
    for (int half = 0; half < 2; ++half) {
        if (!read_label_half(fd, b, half, buf.data())) {
            rfs_log("read chn32 label head info failed\n");
            return -1;
        }
        lend |= scan_half(buf.data(), half, head);
    }
    // Only a Lend record sets the end-record number. Without one the stored
    // number is kept as long as it names a record of the area at all.
    if (!lend) {
        rfs_log("no Lend record in label area, end record:%u\n", head->end_record());
        if (head->end_record() >= kLabelRecords) head->set_end_record(kLabelRecords - 1);
    }
    return 0;
}

void log_head(const LabelHead &head) {
    rfs_log("======labelHead:%d, %d\n", int(head.magic()), int(kMagicLabH));
    for (int half = 0; half < 2; ++half) {
        RfsDateTime s{}, e{};
        unpack_time(head.earliest(half), &s);
        unpack_time(head.latest(half), &e);
        rfs_log("[%d](%.2d/%.2d/%.2d-%.2d:%.2d:%.2d)-(%.2d/%.2d/%.2d-%.2d:%.2d:%.2d)\n", half,
                s.year, s.month, s.day, s.hour, s.minute, s.second, e.year, e.month, e.day,
                e.hour, e.minute, e.second);
    }
}

} // namespace

int load_label_head(const char *path, const DiskParamBlock *b, LabelHead *head) {
    // A raw disk formatted without labels has no head: its first bytes are
    // something else, and reading them as one would invent labels.
    if (!has_label_area(*b)) return 0;
    FdGuard fd(open_label_file(path, kLabelReadFlags));
    if (fd.get() < 0) {
        rfs_log("open file %s failed\n", path);
        rfs_perror("open disk::");
        return -1;
    }
    uint64_t pos = nas_mode() ? 0 : b->label_area();
    rfs_log("label pos:%lld\n", (long long)pos);
    if (!read_exact(fd.get(), head->bytes, LabelHead::kSize, pos)) {
        rfs_log("get label head err!\n");
        return -1;
    }
    rfs_log("labelHead:%d, %d\n", int(head->magic()), int(kMagicLabH));
    if (head->presence() != 0) {
        if (int r = scan_halves(fd.get(), *b, head)) return r;
    }
    log_head(*head);
    return 0;
}

} // namespace rfs
