// Shared set-up of the disk tests: real disks from the recorder simulator,
// POSIX storage behind the fault-injecting wrapper, and small helpers that
// look at what the library left on disk.
#pragma once

#include <gtest/gtest.h>

#include <concepts>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "disk/layout.h"
#include "fault_storage.h"
#include "recorder.h"
#include "support/log_capture.h"
#include "support/temp_dir.h"

class DiskTest : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    // Formats a disk, lets `live` record on it, ends with finish() unless
    // live called power_loss(), and returns the short alias the library uses.
    template <typename Live>
        requires std::invocable<Live &, rec::Recorder &>
    std::string make_disk(const rec::DiskSpec &shape, Live live, const std::string &name = "d") {
        std::string real = tmp_.file(name);
        {
            rec::Recorder r(shape, real);
            if (live(r)) r.finish();
            geometry_ = r.geometry();
        }
        real_[name] = real;
        return alias(real);
    }
    std::string make_disk(const rec::DiskSpec &shape, const std::string &name = "d") {
        return make_disk(shape, [](rec::Recorder &) { return true; }, name);
    }
    std::string alias(const std::string &real);
    std::string real(const std::string &name = "d") { return real_[name]; }

    void use_nas(bool on);

    // Raw bytes of a file, outside the library.
    std::vector<uint8_t> read_file(const std::string &file, uint64_t off, size_t len);
    void write_file(const std::string &file, uint64_t off, const std::vector<uint8_t> &bytes);

    // The parameter block stored in `file` at byte 128, and whether its
    // check sum holds.
    rfs::DiskParamBlock block_in(const std::string &file);
    static uint32_t xor_sum(const rfs::DiskParamBlock &b);
    static bool sum_ok(const rfs::DiskParamBlock &b) { return xor_sum(b) == b.check_sum(); }
    // Patches the stored block; with fix_sum the check sum is made valid again.
    void patch_block(const std::string &file, size_t off, const std::vector<uint8_t> &bytes,
                     bool fix_sum = true);

    // Raw image: absolute offset of index copy k of partition p.
    uint64_t copy_pos(int p, int k) const {
        return geometry_.part_base[p] + uint64_t(k) * geometry_.index_copy_size;
    }

    TempDir tmp_;
    rec::Geometry geometry_;
    std::map<std::string, std::string> real_;
    LogCapture log_;
};

std::vector<uint8_t> le32(uint32_t v);

// A small disk: four data files a partition (a NAS disk has one partition).
inline rec::DiskSpec small_disk(int partitions = 1, bool nas = false) {
    rec::DiskSpec shape;
    shape.partitions = partitions;
    shape.files_per_partition = 4;
    shape.nas = nas;
    return shape;
}
