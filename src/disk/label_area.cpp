// Reading the label area: where it lies, whole halves of it, and the walk
// over the halves of every mounted disk that the label searches share.
#include "disk/label_area.h"

#include "disk/paths.h"
#include "disk/registry.h"
#include "frame/buffer.h"
#include "frame/log.h"
#include "frame/state.h"
#include "frame/storage.h"

namespace rfs {

bool has_label_area(const DiskParamBlock &b) { return nas_mode() || b.label_area() != 0; }

bool read_label_half(int fd, const DiskParamBlock &b, int half, uint8_t *buf) {
    uint64_t pos = kLabelHalfPos + uint64_t(half) * kLabelHalfSize;
    if (!nas_mode()) pos += b.label_area();
    return read_exact(fd, buf, kLabelHalfSize, pos);
}

namespace {

// 0 to read the disk's halves, 1 to pass it over.
int label_disk_skipped(const disk_info_t &d) {
    if (d.param.disk_state() > 2) {
        rfs_log("disk%d is err\n", d.id);
        return 1;
    }
    if (!has_label_area(d.param)) {
        rfs_log("disk %d not formart to support label!!!\n", d.id);
        return 1;
    }
    return d.label_head.presence() == 0 ? 1 : 0;
}

int visit_disk(disk_info_t &d, LabelHalfVisitor &v, uint8_t *buf) {
    FdGuard fd(open_label_file(d.path, kLabelReadFlags));
    if (fd.get() < 0) {
        v.open_failed(d);
        return -1;
    }
    for (int half = 0; half < 2; ++half) {
        if (!v.wanted(d.label_head, half)) continue;
        if (!read_label_half(fd.get(), d.param, half, buf)) {
            rfs_log("read err!\n");
            return -1;
        }
        if (int r = v.on_half(d, buf)) return r;
    }
    return 0;
}

} // namespace

int visit_label_halves(LabelHalfVisitor &v) {
    MallocBuffer buf(kLabelHalfSize);
    if (!buf) {
        rfs_log("malloc failed\n");
        return -1;
    }
    for (int slot = 0; slot < kMaxDisks; ++slot) {
        disk_info_t *d = pg_disk_list[slot];
        if (!d || label_disk_skipped(*d)) continue;
        if (int r = visit_disk(*d, v, buf.data())) return r;
    }
    return 0;
}

} // namespace rfs
