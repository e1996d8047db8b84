// Shared set-up of the disk tests: real disks from the recorder simulator,
// POSIX storage behind the fault-injecting wrapper, and helpers that look at
// what the library left on disk from outside it.
#pragma once

#include <functional>
#include <gtest/gtest.h>

#include "disk/layout.h"
#include "disk/registry.h"
#include "disk_alias.h"
#include "fault_storage.h"
#include "posix_storage.h"
#include "recorder.h"
#include "recorder/disk_view.h"
#include "rfs.h"
#include "support/log_capture.h"
#include "support/temp_dir.h"

using Bytes = std::vector<uint8_t>;

inline Bytes le32(uint32_t v) { return {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)}; }

inline Bytes read_file(const std::string &file, uint64_t off, size_t len) { return rectest::File(file).read(off, len); }
inline void write_file(const std::string &file, uint64_t off, const Bytes &bytes) { rectest::write_at(file, off, bytes); }

// The parameter block stored in `file` at byte 128.
inline rfs::DiskParamBlock block_in(const std::string &file) {
    rfs::DiskParamBlock b;
    Bytes bytes = read_file(file, 128, b.kSize);
    std::copy(bytes.begin(), bytes.end(), b.bytes);
    return b;
}

// The check sum as the recorder writes it: the XOR of the first 67 words.
inline uint32_t xor_sum(const rfs::DiskParamBlock &b) {
    uint32_t x = 0;
    for (size_t i = 0; i < 268; i += 4) x ^= rfs::load_le32(b.bytes + i);
    return x;
}

inline bool sum_ok(const rfs::DiskParamBlock &b) { return xor_sum(b) == b.check_sum(); }

// Patches the stored block; with fix_sum the check sum is made valid again.
inline void patch_block(const std::string &file, size_t off, const Bytes &bytes, bool fix_sum = true) {
    write_file(file, 128 + off, bytes);
    if (fix_sum) write_file(file, 128 + 268, le32(xor_sum(block_in(file))));
}

// A small disk: four data files a partition (a NAS disk has one partition).
inline rec::DiskShape small_disk(int partitions = 1, bool nas = false) {
    rec::DiskShape shape;
    shape.partitions = partitions;
    shape.files_per_partition = 4;
    shape.nas = nas;
    return shape;
}

class DiskTest : public ::testing::Test {
  protected:
    void SetUp() override {
        rfs_host::clear_aliases();
        rfs_host::fault_install(rfs_host::posix_ops());
        rfs_set_nas_mode(0);
        rfs::g_event_index_size = 0;
        rfs::g_max_part_file_nr = 0;
        rfs::g_max_switch = 0;
    }
    void TearDown() override {
        for (int id = 0; id < rfs::kMaxDisks; ++id)
            if (rfs::pg_disk_list[id]) rfs_remove_disk(id);
        rfs::g_removed_disk_mask = 0;
        rfs_host::fault_clear_rules();
        rfs_set_nas_mode(0);
    }

    // Records a disk (`live` may record on it or damage it first) and returns
    // the short alias the library uses.
    std::string make_disk(const rec::DiskShape &shape, const std::function<void(rec::Recorder &)> &live = {},
                          const std::string &name = "d") {
        real_[name] = tmp_.file(name);
        rec::Recorder r(shape, real_[name]);
        if (live) live(r);
        r.finish();
        geometry_ = r.geometry();
        return rfs_host::alias_disk(real_[name]);
    }
    std::string real(const std::string &name = "d") { return real_[name]; }
    // Raw image: absolute offset of index copy k of partition p.
    uint64_t copy_pos(int p, int k) const { return geometry_.part_base[p] + uint64_t(k) * geometry_.index_copy_size; }

    TempDir tmp_;
    rec::Geometry geometry_;
    std::map<std::string, std::string> real_; // disk name -> real path
    LogCapture log_;
};
