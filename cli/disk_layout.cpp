#include "disk_layout.h"

#include <array>

#include "errors.h"
#include "overlay_storage.h"
#include "rfs.h"
#include "time_text.h"

namespace cli {

namespace {

// Offsets in the 272-byte disk parameter block at byte 128 of the disk (NAS:
// of every index file) and in the 40-byte partition record.
constexpr int64_t kBlockPos = 128;
constexpr uint32_t kBlockSize = 272;
constexpr int kPartCount = 12, kDiskState = 14, kPartBase = 72, kIndexFlags = 200, kCopySize = 216;
constexpr uint32_t kPartRecordSize = 40;
constexpr uint32_t kPartMagic = 0x74726150; // "Part"

uint32_t le32(const uint8_t *p) { return p[0] | p[1] << 8 | p[2] << 16 | uint32_t(p[3]) << 24; }
uint16_t le16(const uint8_t *p) { return uint16_t(p[0] | p[1] << 8); }
uint64_t le64(const uint8_t *p) { return le32(p) | uint64_t(le32(p + 4)) << 32; }

// Reads len bytes at pos of a file through the installed storage.
bool read_at(const std::string &path, void *buf, uint32_t len, int64_t pos) {
    auto ops = rfs_host::overlay_ops();
    int fd = ops.open(path.c_str(), RFS_O_RDONLY | RFS_O_BINARY);
    if (fd < 0) return false;
    bool ok = ops.read(fd, buf, len, pos) == int(len);
    ops.close(fd);
    return ok;
}

std::string index_file(const std::string &alias, int copy) { return alias + "/index" + std::to_string(copy); }

std::array<uint8_t, kBlockSize> read_block(const std::string &alias, bool nas) {
    std::array<uint8_t, kBlockSize> block{};
    if (!nas && read_at(alias, block.data(), kBlockSize, kBlockPos)) return block;
    for (int k = 0; nas && k < 4; ++k)
        if (read_at(index_file(alias, k), block.data(), kBlockSize, kBlockPos)) return block;
    throw ToolError("cannot read the disk parameter block");
}

int primary_copy(uint8_t flags) {
    for (int k = 0; k < 4; ++k)
        if (flags & (1 << k)) return k;
    return -1;
}

PartitionView read_partition(const std::string &alias, bool nas, const uint8_t *block, int p) {
    PartitionView view;
    view.index = p;
    view.copy = primary_copy(block[kIndexFlags + p]);
    if (view.copy < 0) return view;
    uint64_t base = le64(block + kPartBase + 8 * p);
    uint8_t rec[kPartRecordSize];
    bool ok = nas ? read_at(index_file(alias, view.copy), rec, kPartRecordSize, int64_t(base))
                  : read_at(alias, rec, kPartRecordSize, int64_t(base + uint64_t(view.copy) * le32(block + kCopySize)));
    view.readable = ok && le32(rec) == kPartMagic;
    if (!view.readable) return view;
    view.file_nr = le16(rec + 4);
    view.free_file_nr = le16(rec + 6);
    view.state = rec[10];
    view.repair_flag = rec[11];
    view.record_start = le32(rec + 16);
    view.record_end = le32(rec + 20);
    view.picture_start = le32(rec + 24);
    view.picture_end = le32(rec + 28);
    return view;
}

} // namespace

DiskView read_disk_view(const std::string &alias, bool nas) {
    auto block = read_block(alias, nas);
    DiskView view;
    view.part_count = block[kPartCount];
    view.disk_state = block[kDiskState];
    for (int p = 0; p < view.part_count && p < 16; ++p)
        view.partitions.push_back(read_partition(alias, nas, block.data(), p));
    return view;
}

std::string packed_time_text(uint32_t t) {
    if (t == 0) return "-";
    return time_text(make_time(int(t >> 26) + 2000, (t >> 22) & 15, (t >> 17) & 31, (t >> 12) & 31,
                               (t >> 6) & 63, t & 63));
}

} // namespace cli
