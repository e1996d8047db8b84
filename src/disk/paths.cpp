#include "disk/paths.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "frame/log.h"
#include "frame/state.h"
#include "frame/storage.h"

namespace rfs {

namespace {

// Composes "<path>/<stem><n>"; a name that does not fit is refused.
bool compose_name(char *out, size_t size, const char *path, const char *stem, int n) {
    int len = std::snprintf(out, size, "%s/%s%d", path, stem, n);
    if (len < 0 || size_t(len) >= size) {
        errno = ENAMETOOLONG;
        return false;
    }
    return true;
}

int open_composed(const char *path, const char *stem, int n, int flags, size_t size) {
    char name[kIndexNameSize];
    if (!compose_name(name, size, path, stem, n)) return -1;
    return storage_open(name, flags);
}

} // namespace

bool index_file_name(char *out, const char *path, int k) {
    return compose_name(out, kIndexNameSize, path, "index", k);
}

bool data_file_name(char *out, const char *path, int n) {
    return compose_name(out, kDataNameSize, path, "file", n);
}

int64_t data_file_addr(const DiskParamBlock *b, int n) {
    uint32_t stored = b->data_file_size();
    int64_t size = effective_data_file_size(stored);
    int64_t base = b->data_area_start();
    if (base == 0 && stored == 0) base = kDataFile512M;
    return int64_t(n) * size + base;
}

// The recorder kept a per-drive table that could clear the binary flag for
// data files on some shares; nothing ever filled it, so flags pass unchanged.
int open_data_file(const char *path, int flags, int n) {
    if (!nas_mode()) return storage_open(path, flags);
    return open_composed(path, "file", n, flags, kDataNameSize);
}

int open_index_file(const char *path, int flags, int k) {
    if (!nas_mode()) return storage_open(path, flags);
    if (unsigned(k) <= 3) return open_composed(path, "index", k, flags, kIndexNameSize);
    if (k != -1) {
        rfs_log("pindex out of range\n");
        return -1;
    }
    for (int copy = 0; copy < kIndexCopies; ++copy) {
        int fd = open_composed(path, "index", copy, flags, kIndexNameSize);
        if (fd >= 0) return fd;
    }
    return -1;
}

int open_label_file(const char *path, int flags) {
    if (!nas_mode()) return storage_open(path, flags);
    return open_composed(path, "label", 0, flags, kIndexNameSize);
}

uint64_t disk_offset(uint64_t part_base, uint64_t file_start, uint64_t offset) {
    return nas_mode() ? offset : part_base + file_start + offset;
}

bool is_disk_dropped(const char *path, int err) {
    if (!path || strnlen(path, 5) < 5) return true;
    if (!nas_mode()) return false;
    return err == EIO || err == EBADF || err == EFAULT || err == EHOSTDOWN;
}

} // namespace rfs
