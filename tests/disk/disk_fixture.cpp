#include "disk_fixture.h"

#include <fstream>

#include "disk/registry.h"
#include "disk_alias.h"
#include "posix_storage.h"
#include "rfs.h"

void DiskTest::SetUp() {
    rfs_host::clear_aliases();
    rfs_host::fault_install(rfs_host::posix_ops());
    rfs_set_nas_mode(0);
    rfs::g_event_index_size = 0;
    rfs::g_max_part_file_nr = 0;
    rfs::g_max_switch = 0;
}

void DiskTest::TearDown() {
    for (int id = 0; id < rfs::kMaxDisks; ++id)
        if (rfs::pg_disk_list[id]) rfs_remove_disk(id);
    rfs::g_removed_disk_mask = 0;
    rfs_host::fault_clear_rules();
    rfs_set_nas_mode(0);
}

std::string DiskTest::alias(const std::string &real) { return rfs_host::alias_disk(real); }

void DiskTest::use_nas(bool on) { rfs_set_nas_mode(on ? 1 : 0); }

std::vector<uint8_t> DiskTest::read_file(const std::string &file, uint64_t off, size_t len) {
    std::ifstream in(file, std::ios::binary);
    in.seekg(std::streamoff(off));
    std::vector<uint8_t> out(len);
    in.read(reinterpret_cast<char *>(out.data()), std::streamsize(len));
    out.resize(size_t(in.gcount()));
    return out;
}

void DiskTest::write_file(const std::string &file, uint64_t off, const std::vector<uint8_t> &b) {
    std::fstream io(file, std::ios::binary | std::ios::in | std::ios::out);
    io.seekp(std::streamoff(off));
    io.write(reinterpret_cast<const char *>(b.data()), std::streamsize(b.size()));
}

rfs::DiskParamBlock DiskTest::block_in(const std::string &file) {
    rfs::DiskParamBlock b;
    std::vector<uint8_t> bytes = read_file(file, 128, b.kSize);
    std::copy(bytes.begin(), bytes.end(), b.bytes);
    return b;
}

uint32_t DiskTest::xor_sum(const rfs::DiskParamBlock &b) {
    uint32_t x = 0;
    for (size_t i = 0; i < 268; i += 4)
        x ^= uint32_t(b.bytes[i]) | uint32_t(b.bytes[i + 1]) << 8 |
             uint32_t(b.bytes[i + 2]) << 16 | uint32_t(b.bytes[i + 3]) << 24;
    return x;
}

void DiskTest::patch_block(const std::string &file, size_t off, const std::vector<uint8_t> &bytes,
                           bool fix_sum) {
    write_file(file, 128 + off, bytes);
    if (!fix_sum) return;
    write_file(file, 128 + 268, le32(xor_sum(block_in(file))));
}

std::vector<uint8_t> le32(uint32_t v) {
    return {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)};
}
