#include "index_copy_view.h"

#include <array>
#include <cstdint>

#include "overlay_storage.h"

namespace rfs_host {

namespace {

// The recorder's disk parameter block: 272 bytes at byte 128; part_count at
// 12, part_base (16 x u64) at 72, index_flags (16 x u8) at 200,
// index_copy_size at 216, check sum (XOR of the 67 words before it) at 268.
constexpr int64_t kBlockPos = 128;
constexpr uint32_t kBlockSize = 272;
constexpr int kPartCount = 12, kPartBase = 72, kIndexFlags = 200, kCopySize = 216, kCheckSum = 268;
constexpr int kPartitions = 16;
constexpr uint8_t kAllCopies = 0x0F;
using Block = std::array<uint8_t, kBlockSize>;

uint32_t le32(const uint8_t *p) { return p[0] | p[1] << 8 | p[2] << 16 | uint32_t(p[3]) << 24; }
uint64_t le64(const uint8_t *p) { return le32(p) | uint64_t(le32(p + 4)) << 32; }

bool transfer(const std::string &path, Block &block, bool write) {
    StorageOps ops = overlay_ops();
    int fd = ops.open(path.c_str(), write ? RFS_O_RDWR : RFS_O_RDONLY);
    if (fd < 0) return false;
    int n = write ? ops.write(fd, block.data(), kBlockSize, kBlockPos) : ops.read(fd, block.data(), kBlockSize, kBlockPos);
    ops.close(fd);
    return n == int(kBlockSize);
}

std::string index_file(const std::string &alias, int k) { return alias + "/index" + std::to_string(k); }

void seal(Block &b) {
    uint32_t sum = 0;
    for (int off = 0; off < kCheckSum; off += 4) sum ^= le32(b.data() + off);
    for (int i = 0; i < 4; ++i) b[size_t(kCheckSum + i)] = uint8_t(sum >> (8 * i));
}

} // namespace

std::string overlay_show_index_copy(const std::string &alias, bool nas, int k) {
    if (k < 0 || k > 3) return "no such index copy";
    if (overlay_write_through()) return "the overlay writes through to the disk";
    Block b{};
    const std::string source = nas ? index_file(alias, k) : alias;
    if (!transfer(source, b, false)) return "its disk parameter block cannot be read from " + (nas ? "index" + std::to_string(k) : "the image");
    int parts = b[kPartCount] < kPartitions ? b[kPartCount] : kPartitions;
    uint32_t copy_size = le32(b.data() + kCopySize);
    for (int p = 0; p < parts; ++p) {
        b[size_t(kIndexFlags + p)] = kAllCopies;
        uint64_t base = le64(b.data() + kPartBase + 8 * p);
        if (k == 0) continue;
        if (nas)
            overlay_redirect(index_file(alias, 0), int64_t(base), copy_size, index_file(alias, k), int64_t(base));
        else
            overlay_redirect(alias, int64_t(base), copy_size, alias, int64_t(base + uint64_t(k) * copy_size));
    }
    seal(b);
    for (int f = 0; f < (nas ? 4 : 1); ++f)
        if (!transfer(nas ? index_file(alias, f) : alias, b, true) && (!nas || f == 0))
            return "the rewritten block cannot be held in memory";
    return "";
}

} // namespace rfs_host
