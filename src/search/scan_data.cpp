// Reading inside the data file of a file record the scan visits.
#include <cerrno>

#include "disk/paths.h"
#include "frame/log.h"
#include "frame/state.h"
#include "search/scan.h"

namespace rfs {

uint64_t data_file_pos(const ScanFile &f, uint64_t off) {
    if (nas_mode()) return off;
    const DiskParamBlock &b = f.disk->param;
    return b.part_base(f.partition) + uint64_t(data_file_addr(&b, f.index)) + off;
}

int open_scan_data_file(const ScanFile &f) {
    const char *path = f.disk->path;
    int fd = open_data_file(path, RFS_O_RDONLY, f.index);
    if (fd >= 0) return fd;
    int err = errno;
    rfs_perror("");
    rfs_log("open %s/%d err\n", path, f.index);
    if (is_disk_dropped(path, err)) rfs_log("%s is drop\n", path);
    return -1;
}

} // namespace rfs
