#include <algorithm>
#include <cerrno>
#include <gtest/gtest.h>

#include "disk_alias.h"
#include "fault_storage.h"
#include "files.h"
#include "overlay_storage.h"
#include "recorder.h"
#include "support/log_capture.h"
#include "support/temp_dir.h"

using namespace rfs_host;

namespace {

class OverlayStorage : public ::testing::Test {
  protected:
    void SetUp() override { overlay_reset(); }
    void TearDown() override {
        overlay_set_write_through(false);
        overlay_reset();
        clear_aliases();
    }
    int open(const std::string &path, int flags = RFS_O_RDWR) { return ops.open(path.c_str(), flags); }
    // What the overlay shows for [0, len), read in windows that cross pages.
    std::vector<uint8_t> read_through(int fd, size_t len) {
        std::vector<uint8_t> out(len);
        for (size_t at = 0; at < len; at += 3001) {
            uint32_t n = uint32_t(std::min<size_t>(len - at, 3001));
            EXPECT_EQ(ops.read(fd, out.data() + at, n, int64_t(at)), int(n)) << "at " << at;
        }
        return out;
    }

    TempDir dir;
    StorageOps ops = overlay_ops();
    uint8_t seed_buf[100] = {};
};

} // namespace

TEST_F(OverlayStorage, ReadsItsWritesAndNeverChangesTheRealFile) {
    const std::string path = dir.file("disk.img");
    const auto original = pattern(3 * 4096 + 100, 1);
    make_file(path, original);
    const std::pair<int64_t, uint32_t> writes[] = {
        {4090, 12}, {0, 4096}, {8000, 5000}, // across a boundary, a whole page, past the end
        {20000, 10}, {4095, 8194},           // leaving a gap of zeros; over held pages
    };
    std::vector<uint8_t> model = original;
    int fd = open(path);
    uint8_t seed = 50;
    for (auto [offset, len] : writes) {
        auto data = pattern(len, seed++);
        ASSERT_EQ(ops.write(fd, data.data(), len, offset), int(len));
        model.resize(std::max(model.size(), size_t(offset + len)), 0);
        std::copy(data.begin(), data.end(), model.begin() + offset);
        EXPECT_EQ(read_through(fd, model.size()), model) << "after the write at " << offset;
    }
    EXPECT_EQ(ops.read(fd, seed_buf, 100, int64_t(model.size()) - 40), 40);
    EXPECT_EQ(ops.sync(fd), 0);
    ops.close(fd);
    fd = open(alias_disk(path), RFS_O_RDONLY); // another descriptor, by the alias
    EXPECT_EQ(read_through(fd, model.size()), model);
    EXPECT_EQ(ops.write(fd, seed_buf, 1, 0), -1); // read-only, as the real file would be
    EXPECT_EQ(errno, EBADF);
    ops.close(fd);
    EXPECT_EQ(file_bytes(path), original);
    EXPECT_EQ(overlay_page_count(), 5u);

    overlay_reset();
    fd = open(path);
    EXPECT_EQ(read_through(fd, original.size()), original);
    ops.close(fd);
    make_file(path, pattern(100, 9)); // changed behind the overlay: held pages go
    fd = open(path);
    ops.write(fd, seed_buf, 10, 0);
    make_file(path, pattern(200, 9));
    ops.close(fd);
    fd = open(path);
    EXPECT_EQ(read_through(fd, 200), pattern(200, 9));
    ops.close(fd);
}

TEST_F(OverlayStorage, HoldsOnlyWhatIsWrittenOfAHugeSparseImage) {
    const std::string path = dir.file("huge.img");
    make_file(path, {});
    ASSERT_EQ(::truncate(path.c_str(), 8LL << 30), 0);
    const int64_t at = (6LL << 30) - 10;
    const auto data = pattern(20, 7);
    int fd = open(path);
    ASSERT_EQ(ops.write(fd, data.data(), 20, at), 20);
    std::vector<uint8_t> back(8192, 0xEE), expected(8192, 0);
    std::copy(data.begin(), data.end(), expected.begin() + 4096);
    EXPECT_EQ(ops.read(fd, back.data(), 8192, at - 4096), 8192);
    EXPECT_EQ(back, expected);
    ops.close(fd);
    EXPECT_EQ(overlay_page_count(), 2u);
    EXPECT_EQ(file_bytes(path, at, 20), std::vector<uint8_t>(20, 0));

    overlay_set_write_through(true); // --write: the same write reaches the file
    fd = open(path);
    ASSERT_EQ(ops.write(fd, data.data(), 20, at), 20);
    EXPECT_EQ(ops.sync(fd), 0);
    ops.close(fd);
    EXPECT_EQ(file_bytes(path, at, 20), data);
    EXPECT_EQ(overlay_bytes_written(), 40u);
}

// Installed in the library: a mount that repairs a disk left in a bad state
// writes only into the overlay, and the next mount sees its own repair.
TEST_F(OverlayStorage, KeepsTheLibrarysRepairsInMemory) {
    for (bool nas : {false, true}) {
        SCOPED_TRACE(nas ? "NAS" : "raw");
        std::string real = dir.file(nas ? "nas" : "raw");
        rec::DiskSpec spec;
        spec.files_per_partition = 2;
        spec.nas = nas;
        {
            rec::Recorder r(spec, real);
            r.set_disk_state(3);
            r.finish();
        }
        std::string block_file = nas ? real + "/index0" : real;
        const auto before = file_bytes(block_file);
        ASSERT_EQ(fault_install(overlay_ops()), 0);
        rfs_set_nas_mode(nas);
        LogCapture log;
        auto mount_repairs = [&] {
            log.clear();
            fault_reset_counts();
            EXPECT_EQ(rfs_add_disk(0, alias_disk(real).c_str(), 0, 0, nullptr), 0);
            rfs_remove_disk(0);
            return log.contains("state bad ,now repair") && fault_counts().writes > 0;
        };
        EXPECT_TRUE(mount_repairs());
        EXPECT_FALSE(mount_repairs());
        EXPECT_EQ(file_bytes(block_file), before);
        overlay_reset();
        EXPECT_TRUE(mount_repairs());
        rfs_set_nas_mode(0);
    }
}
