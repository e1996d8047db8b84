#include "disk/param.h"

#include <cstdio>

#include "disk/paths.h"
#include "frame/log.h"
#include "frame/state.h"
#include "frame/storage.h"

namespace rfs {

uint32_t param_check_sum(const DiskParamBlock &b) {
    uint32_t sum = 0;
    for (size_t off = 0; off < DiskParamBlock::kCheckSum; off += 4) sum ^= load_le32(b.bytes + off);
    return sum;
}

int check_disk_param(const DiskParamBlock *b) {
    uint32_t sum = param_check_sum(*b);
    if (b->magic() == kMagicQkfs && b->version_minor() == kVersionMinor &&
        b->version_major() == kVersionMajor && b->check_sum() == sum)
        return 0;
    rfs_log("not valid rfs format, check_sum:%#x%c=%#x,magic:%d%c=%d, version:(%d/%d)-(%d/%d)\n",
            b->check_sum(), b->check_sum() == sum ? '=' : '!', sum, int(b->magic()),
            b->magic() == kMagicQkfs ? '=' : '!', int(kMagicQkfs), b->version_major(),
            b->version_minor(), int(kVersionMajor), int(kVersionMinor));
    return -1;
}

int read_disk_param(const char *path, DiskParamBlock *out) {
    FdGuard fd(open_index_file(path, RFS_O_RDONLY, -1));
    if (fd.get() < 0) {
        rfs_log("open file %s failed\n", path);
        rfs_perror("open disk:");
        return -1;
    }
    if (!read_exact(fd.get(), out->bytes, DiskParamBlock::kSize, kParamBlockPos)) {
        // The read failure has always reported itself with the write text.
        rfs_log("write file %s failed\n", path);
        rfs_perror("read error: ");
        return -1;
    }
    return 0;
}

namespace {

// Opens `name` write-only and writes the block with a fresh check sum.
bool write_block_to(const char *name, DiskParamBlock *b, bool *opened) {
    FdGuard fd(storage_open(name, RFS_O_WRONLY));
    *opened = fd.get() >= 0;
    if (!*opened) {
        rfs_log("open file %s failed\n", name);
        return false;
    }
    uint32_t sum = param_check_sum(*b);
    rfs_log("disk param check sum=%#x,disk_state=%d\n", sum, b->disk_state());
    b->set_check_sum(sum);
    if (write_exact(fd.get(), b->bytes, DiskParamBlock::kSize, kParamBlockPos)) return true;
    rfs_log("write file %s failed\n", name);
    return false;
}

} // namespace

int write_param_all(const char *path, DiskParamBlock *b) {
    bool opened = false;
    if (!nas_mode()) {
        write_block_to(path, b, &opened);
        return 0;
    }
    int written = 0;
    for (int k = 0; k < kIndexCopies; ++k) {
        char name[kIndexNameSize];
        if (!index_file_name(name, path, k)) {
            rfs_log("open file %s failed\n", path);
            continue;
        }
        written += write_block_to(name, b, &opened) ? 1 : 0;
    }
    if (written == 0) rfs_log("set disk param to all index failed :%s\n", path);
    return 0;
}

} // namespace rfs
