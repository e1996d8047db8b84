#include "partition_report.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

#include "disk_layout.h"
#include "problems.h"
#include "rfs.h"

namespace cli {

namespace {

int usable_copies(uint8_t flags) {
    int n = 0;
    for (int k = 0; k < 4; ++k) n += flags >> k & 1;
    return n;
}

int secondary_copy(uint8_t flags) {
    int primary = primary_copy(flags);
    return primary < 0 ? -1 : primary_copy(uint8_t(flags & ~(1u << primary)));
}

std::string copy_text(int k) { return "index copy " + std::to_string(k); }

std::string why_unusable(const RfsPartitionInfo &info) {
    int primary = primary_copy(info.index_flags);
    if (usable_copies(info.index_flags) < 2)
        return "fewer than two of its index copies are usable (index flags " + std::to_string(info.index_flags) + ")";
    switch (info.copy_check[primary]) {
    case RFS_COPY_UNREADABLE: return "its primary " + copy_text(primary) + " cannot be read";
    case RFS_COPY_NO_MAGIC: return "the partition record of its primary " + copy_text(primary) + " has no 'Part' magic";
    default: return "its repair failed (--verbose shows the library's log)";
    }
}

// A copy other than the primary whose partition record reads and carries
// its magic, or -1.
int intact_copy(const RfsPartitionInfo &info) {
    int primary = primary_copy(info.index_flags);
    for (int k = 0; k < 4; ++k)
        if (k != primary && (info.copy_check[k] == RFS_COPY_SAME || info.copy_check[k] == RFS_COPY_DIFFERS)) return k;
    return -1;
}

std::string where(int id, const std::string &path, int p) {
    return "disk " + std::to_string(id) + " (" + path + ") partition " + std::to_string(p);
}

} // namespace

void report_short_image(int id, const std::string &path) {
    uint32_t total_mb = 0, free_mb = 0;
    uint8_t fs_type = 0;
    if (rfs_get_disk_size(id, &total_mb, &free_mb, &fs_type) != 0) return;
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return;
    off_t size = lseek(fd, 0, SEEK_END); // also the size of a block device
    close(fd);
    uint64_t expected = uint64_t(total_mb) << 20;
    if (size < 0 || uint64_t(size) >= expected) return;
    problems().add("disk", "disk " + std::to_string(id) + " (" + path + ") is " + std::to_string(size) +
                               " bytes, but its parameter block says " + std::to_string(total_mb) +
                               " MB: what lies beyond its end cannot be read");
}

void report_partitions(int id, const std::string &path) {
    for (const PartitionView &p : read_disk_view(id).partitions) {
        const RfsPartitionInfo &info = p.info;
        if (info.state >= 2) {
            std::string text = where(id, path, p.index) + " is unusable: " + why_unusable(info) +
                               "; nothing of it is listed";
            if (int k = intact_copy(info); k >= 0)
                text += "; " + copy_text(k) + " looks intact: --index-copy " + std::to_string(k) + " reads it";
            problems().add("partition", text);
            continue;
        }
        // The pair is judged against each other through the mounted record:
        // repair may have changed that record in memory only, so both copies
        // differing from it says nothing.
        int secondary = secondary_copy(info.index_flags);
        if (secondary >= 0 && info.copy_check[secondary] != info.copy_check[p.copy])
            problems().add("index_copy", where(id, path, p.index) + ": its secondary " + copy_text(secondary) +
                                             " disagrees with the primary " + copy_text(p.copy));
    }
}

} // namespace cli
