// Power-cut disks from the recorder, each beside the disk its repair must
// leave (the same recording ended with power_loss_repaired()), mounted
// through the public calls on POSIX storage behind the fault wrapper.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "disk/disk_fixture.h"
#include "frame/state.h"
#include "recorder/disk_view.h"

namespace fs = std::filesystem;

constexpr int kRepairChannels = 16;

// Copies a sparse file's data ranges only, so multi-GB images cost little.
inline void copy_sparse(const std::string &from, const std::string &to) {
    const rectest::File in(from);
    int out = ::open(to.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    ASSERT_EQ(::ftruncate(out, off_t(in.size())), 0);
    in.each_data_piece([&](uint64_t pos, size_t n) { ASSERT_EQ(::pwrite(out, in.read(pos, n).data(), n, off_t(pos)), ssize_t(n)); });
    ::close(out);
}

// A raw image, or every file of a NAS folder.
inline void copy_disk(const std::string &from, const std::string &to) {
    if (!fs::is_directory(from)) return copy_sparse(from, to);
    fs::create_directories(to);
    for (const auto &e : fs::directory_iterator(from)) copy_sparse(e.path(), to + "/" + e.path().filename().string());
}

// The names of the files that differ (empty: the disks are the same).
inline std::vector<std::string> differing_files(const std::string &a, const std::string &b) {
    if (!fs::is_directory(a)) return rectest::File(a).same_as(rectest::File(b)) ? std::vector<std::string>{} : std::vector<std::string>{a};
    std::vector<std::string> out;
    for (const auto &e : fs::directory_iterator(b)) {
        std::string name = e.path().filename().string();
        if (!rectest::File(a + "/" + name).same_as(rectest::File(e.path()))) out.push_back(name);
    }
    return out;
}

using Live = std::function<void(rec::Recorder &)>;

class RepairTest : public DiskTest {
  public:
    void SetUp() override {
        DiskTest::SetUp();
        // The disks are scratch copies: nothing needs to reach the platter.
        rfs_host::StorageOps ops = rfs_host::posix_ops();
        ops.sync = [](int) { return 0; };
        rfs_host::fault_install(ops);
        ASSERT_EQ(rfs_init(kRepairChannels, 1), 0);
    }
    void TearDown() override {
        for (uint32_t h = 0; h < 64; ++h) rfs_find_stop(h);
        DiskTest::TearDown();
        rfs_exit();
    }

    // Records `live` twice: the disk as the power cut left it (`name`, also
    // copied to `name`.cut) and as its repair must leave it (`name`.model).
    // Returns the alias of `name`; the truth is that of the repaired model.
    std::string power_cut(const rec::DiskShape &shape, const Live &live, const std::string &name = "d") {
        {
            rec::Recorder r(shape, tmp_.file(name));
            live(r);
            r.power_loss();
        }
        rec::Recorder m(shape, tmp_.file(name + ".model"));
        live(m);
        m.power_loss_repaired();
        events_.assign(m.events().begin(), m.events().end());
        geometry_ = m.geometry();
        copy_disk(tmp_.file(name), tmp_.file(name + ".cut"));
        rfs_set_nas_mode(shape.nas);
        return rfs_host::alias_disk(tmp_.file(name));
    }
    std::string path(const std::string &name) const { return tmp_.file(name); }
    // Puts the disk back as the power cut left it.
    void restore(const std::string &name = "d") {
        fs::remove_all(tmp_.file(name));
        copy_disk(tmp_.file(name + ".cut"), tmp_.file(name));
    }
    std::vector<std::string> differs_from_model(const std::string &name = "d") {
        return differing_files(tmp_.file(name), tmp_.file(name + ".model"));
    }
    static std::vector<RfsRepairAction> actions(int id) {
        std::vector<RfsRepairAction> out(size_t(std::max(rfs_get_repair_actions(id, nullptr, 0), 0)));
        rfs_get_repair_actions(id, out.data(), int(out.size()));
        return out;
    }

    // Writes `bytes` at `off` of the entry of event `event_no` of data file
    // `file_no`, in every index copy of partition 0 of a raw disk.
    void patch_event_entry(const std::string &file, int file_no, int event_no, uint32_t off, const rectest::Bytes &bytes) {
        const uint64_t entry = geometry_.event_area_off + uint64_t(geometry_.event_table_size) * (file_no - 1) + 64 * (event_no - 1);
        for (int k = 0; k < 4; ++k) rectest::write_at(file, copy_pos(0, k) + entry + off, bytes);
    }

    std::vector<rec::EventTruth> events_;
};
