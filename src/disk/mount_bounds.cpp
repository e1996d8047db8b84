// Where a partition may lie. The parameter block and the partition record
// are 272 and 40 bytes that anyone can write with a valid check sum, so the
// places they name are checked against the disk before anything is read,
// copied or written there: otherwise one block could make an index recovery
// copy gigabytes, or a repair write far outside the recorder's areas.
#include <cstdint>

#include "disk/mount_internal.h"
#include "disk/paths.h"
#include "frame/log.h"
#include "frame/state.h"
#include "frame/storage.h"

namespace rfs {

namespace {

// Bytes of the disk the block describes (raw mode).
uint64_t disk_bytes(const DiskParamBlock &b) { return uint64_t(b.total_size_mb()) << 20; }

// A raw partition's four index copies, then its data area.
uint64_t raw_index_bytes(const DiskParamBlock &b) {
    return uint64_t(kIndexCopies) * b.index_copy_size();
}

// One byte at end - 1 must come back: a read that stops short there shows
// that the device or file ends first. An empty extent has nothing to check.
bool readable_to(int fd, uint64_t end, int p) {
    uint8_t byte;
    if (end == 0 || storage_read(fd, &byte, 1, end - 1) == 1) return true;
    rfs_log("part%d ends at %#llx beyond the disk\n", p, (unsigned long long)end);
    return false;
}

bool tables_fit(const DiskParamBlock &b, int p, const PartitionRecord &rec) {
    uint64_t n = rec.file_nr(), copy = b.index_copy_size();
    if (file_record_offset(b, uint32_t(n)) <= copy && event_table_offset(b, uint32_t(n)) <= copy)
        return true;
    rfs_log("part%d %u files do not fit an index copy of %#llx bytes\n", p, unsigned(n),
            (unsigned long long)copy);
    return false;
}

// NAS: data file n is "<path>/file<n>", and the highest one must be nameable.
bool data_names_fit(int p, const PartitionRecord &rec, const char *path) {
    char name[kDataNameSize];
    if (rec.file_nr() == 0 || data_file_name(name, path, rec.file_nr() - 1)) return true;
    rfs_log("disk path too long:%s part%d file%d\n", path, p, rec.file_nr() - 1);
    return false;
}

} // namespace

bool index_area_in_disk(const DiskParamBlock &b, int p) {
    uint64_t base = b.part_base(p), copy = b.index_copy_size();
    bool fits;
    if (nas_mode()) {
        fits = copy >= PartitionRecord::kSize && base <= UINT64_MAX - copy;
    } else {
        // The copies come first and the data files after them, all inside the disk.
        uint64_t total = disk_bytes(b), index = raw_index_bytes(b);
        fits = copy >= PartitionRecord::kSize && base <= total && index <= total - base &&
               index <= uint64_t(data_file_addr(&b, 0));
    }
    if (!fits)
        rfs_log("part%d index area %#llx+%#llx out of the disk\n", p, (unsigned long long)base,
                (unsigned long long)copy);
    return fits;
}

bool index_area_readable(const DiskParamBlock &b, int p, int fd) {
    uint64_t extent = nas_mode() ? b.index_copy_size() : raw_index_bytes(b);
    return readable_to(fd, b.part_base(p) + extent, p);
}

bool partition_contents_fit(const DiskParamBlock &b, int p, const PartitionRecord &rec, int fd,
                            const char *path) {
    if (!tables_fit(b, p, rec)) return false;
    if (nas_mode()) return data_names_fit(p, rec, path);
    uint64_t end = b.part_base(p) + uint64_t(data_file_addr(&b, rec.file_nr()));
    if (end > disk_bytes(b)) {
        rfs_log("part%d data files end at %#llx out of the disk\n", p, (unsigned long long)end);
        return false;
    }
    return rec.file_nr() == 0 || readable_to(fd, end, p);
}

} // namespace rfs
