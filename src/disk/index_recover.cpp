// Recovery of a failed index copy: strike it out, write the flags to the disk,
// and copy the surviving partner whole over the spare.
#include <cstdio>

#include "disk/index.h"
#include "disk/index_internal.h"
#include "disk/param.h"
#include "disk/paths.h"
#include "frame/buffer.h"
#include "frame/log.h"
#include "frame/storage.h"

namespace rfs {

namespace {

constexpr uint32_t kCopyChunk = 0x80000; // 512 KiB, one buffer per recovery

struct Roles {
    int failed = -1;
    int good = -1;
    int spare = -1;
};

// First pass: the failed copy, its surviving partner and the spare. Later
// passes (after the spare refused the copy) keep the first two and take the
// lowest usable copy as the spare; the failed copy's bit is clear by then, so
// that is the good copy itself: it is copied onto itself, and recovery reports
// success with no new partner filled. The next selection then pairs the good
// copy with whatever usable copy lies above it, or finds none.
bool choose_roles(const DiskParamBlock &b, int p, bool first, int secondary_failed, Roles *r) {
    int copies[kIndexCopies];
    int n = usable_copies(b, p, copies);
    if (!first) {
        if (n < 1) return false;
        r->spare = copies[0];
        return true;
    }
    if (n < 3) return false;
    r->failed = secondary_failed ? copies[1] : copies[0];
    r->good = secondary_failed ? copies[0] : copies[1];
    r->spare = copies[2];
    return true;
}

enum class CopyResult { ok, read_failed, write_failed, open_failed };

CopyResult copy_area(int src_fd, uint64_t src, int dst_fd, uint64_t dst, uint32_t size,
                     uint8_t *buf) {
    uint32_t left = size;
    while (left > 0) {
        uint32_t len = left < kCopyChunk ? left : kCopyChunk;
        if (!read_exact(src_fd, buf, len, src)) return CopyResult::read_failed;
        if (!write_exact(dst_fd, buf, len, dst)) return CopyResult::write_failed;
        src += len;
        dst += len;
        left -= len;
    }
    return CopyResult::ok;
}

// The loop both forms share; copy(roles, buffer) moves the good copy onto the
// spare and, on success, syncs what it wrote.
template <typename CopyFn>
int recover(DiskParamBlock *b, int p, int secondary_failed, const char *path, CopyFn copy) {
    MallocBuffer buf;
    Roles roles;
    for (bool first = true;; first = false) {
        if (!choose_roles(*b, p, first, secondary_failed, &roles)) {
            rfs_log("all index file is err!\n");
            return -1;
        }
        b->set_index_flags(p, uint8_t(b->index_flags(p) & ~(1u << roles.failed)));
        int r = write_param_all(path, b);
        if (r != 0) {
            rfs_log("ret = %d\n", r);
            return r;
        }
        if (first && !buf.allocate(kCopyChunk)) {
            rfs_log("mem align failed\n");
            return -1;
        }
        switch (copy(roles, buf.data())) {
        case CopyResult::ok:
            rfs_log("deal with index error sucess\n");
            return 0;
        case CopyResult::read_failed:
            rfs_log("read file err!\n");
            return -1;
        case CopyResult::open_failed:
            return -1;
        case CopyResult::write_failed:
            rfs_log("write new file failed\n");
            b->set_index_flags(p, uint8_t(b->index_flags(p) & ~(1u << roles.spare)));
            break;
        }
    }
}

bool partition_ok(int p) {
    if (p >= 0 && p < kPartitionSlots) return true;
    rfs_log("invalid param!\n");
    return false;
}

int open_copy(const char *path, int k) {
    int fd = open_index_file(path, RFS_O_RDWR, k);
    if (fd < 0) rfs_log("open %sindex%d failed\n", path, k);
    return fd;
}

} // namespace

int deal_with_index_error(DiskParamBlock *b, int p, int secondary_failed, int *fd,
                          const char *path) {
    rfs_log("deal with index error start\n");
    if (!fd) {
        rfs_log("invalid fd!\n");
        return -1;
    }
    if (!partition_ok(p)) return -1;
    uint32_t size = b->index_copy_size();
    return recover(b, p, secondary_failed, path, [&](const Roles &r, uint8_t *buf) {
        CopyResult res = copy_area(*fd, raw_copy_addr(*b, p, r.good, 0), *fd,
                                   raw_copy_addr(*b, p, r.spare, 0), size, buf);
        if (res == CopyResult::ok) storage_sync(*fd);
        return res;
    });
}

int deal_with_index_error_nas(DiskParamBlock *b, int p, int secondary_failed, const char *path) {
    rfs_log("deal with index error start\n");
    if (!partition_ok(p)) return -1;
    uint32_t size = b->index_copy_size();
    uint64_t base = b->part_base(p);
    return recover(b, p, secondary_failed, path, [&](const Roles &r, uint8_t *buf) {
        FdGuard src(open_copy(path, r.good));
        if (src.get() < 0) return CopyResult::open_failed;
        FdGuard dst(open_copy(path, r.spare));
        if (dst.get() < 0) return CopyResult::open_failed;
        CopyResult res = copy_area(src.get(), base, dst.get(), base, size, buf);
        if (res == CopyResult::ok) {
            storage_sync(src.get());
            src.reset();
            storage_sync(dst.get());
        }
        return res;
    });
}

} // namespace rfs
