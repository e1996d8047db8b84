// Reading a partition's index area through its primary copy, recovering the
// copy when a read fails and retrying on the new primary.
#include "disk/index.h"
#include "disk/paths.h"
#include "disk/registry.h"
#include "frame/log.h"
#include "frame/state.h"
#include "frame/storage.h"

namespace rfs {

namespace {

// Who is reading decides the log lines and how a new primary is opened: the
// mount and repair reads, or the reads a search makes of a mounted disk (whose
// texts have always been the write ones).
struct Reader {
    const char *path;
    const disk_info_t *disk; // null: mount/repair read
};

void log_read_failed(const Reader &who, int count) {
    if (who.disk) rfs_log("22write file %s failed ret=%d\n", who.path, count);
    else rfs_log("read file %s failed ret=%d\n", who.path, count);
}

void log_recovery_failed(const Reader &who, int p) {
    if (who.disk) rfs_log("del by day err: disk%d, part%d\n", who.disk->id, p);
    else rfs_log("read err:part%d\n", p);
}

int select_primary(const DiskParamBlock *b, int p) {
    int k = select_index_copy(b, p, true);
    if (k < 0) rfs_log("can't find valid index!\n");
    return k;
}

// NAS: the recovered primary is another file, opened here and closed on every
// exit; the caller's descriptor is never closed here.
int reopen_primary(const Reader &who, const DiskParamBlock *b, int p, FdGuard *owned) {
    int k = select_primary(b, p);
    if (k < 0) return -1;
    int fd = open_index_file(who.path, who.disk ? RFS_O_RDONLY : RFS_O_RDWR, k);
    if (fd < 0) {
        if (who.disk) rfs_log("open file %s failed\n", who.path);
        else rfs_log("cant open index file!\n");
        return -1;
    }
    owned->reset(fd);
    return fd;
}

// Each failed read strikes out one copy before the retry, so the loop ends
// after at most four rounds.
int read_loop(const Reader &who, int fd, DiskParamBlock *b, int p, uint64_t off, void *buf,
              uint32_t len) {
    FdGuard owned;
    for (;;) {
        int k = select_primary(b, p);
        if (k < 0) return -1;
        int got = storage_read(fd, buf, len, index_copy_addr(*b, p, k, off));
        if (got == int(len)) return 0;
        log_read_failed(who, got);
        if (recover_index_copy(b, p, 0, &fd, who.path) != 0) {
            log_recovery_failed(who, p);
            return -1;
        }
        if (nas_mode()) {
            fd = reopen_primary(who, b, p, &owned);
            if (fd < 0) return -1;
        }
    }
}

} // namespace

int index_read(int fd, DiskParamBlock *b, int p, uint64_t off, void *buf, uint32_t len,
               const char *path) {
    return read_loop(Reader{path, nullptr}, fd, b, p, off, buf, len);
}

int index_read_disk(int fd, disk_info_t *d, int p, uint64_t off, void *buf, uint32_t len) {
    return read_loop(Reader{d->path, d}, fd, &d->param, p, off, buf, len);
}

} // namespace rfs
