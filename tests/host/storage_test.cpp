// Host storage: the POSIX operations, disk aliases, the fault-injecting wrapper
// and the copy-on-write overlay. Files are made and checked with plain POSIX
// calls, never through the layer under test.
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <unistd.h>

#include "disk_alias.h"
#include "fault_storage.h"
#include "overlay_storage.h"
#include "posix_storage.h"
#include "recorder.h"
#include "support/log_capture.h"
#include "support/temp_dir.h"

using namespace rfs_host;
using Bytes = std::vector<uint8_t>;

namespace {

Bytes pattern(size_t n, uint8_t seed) {
    Bytes v(n);
    for (size_t i = 0; i < n; ++i) v[i] = uint8_t(seed + i * 7 + i / 251);
    return v;
}

// A new file holding `bytes`, then made `size` bytes long (sparse) if given.
void make_file(const std::string &path, const Bytes &bytes, int64_t size = -1) {
    int fd = ::open(path.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0644);
    (void)!::pwrite(fd, bytes.data(), bytes.size(), 0);
    (void)!::ftruncate(fd, size < 0 ? int64_t(bytes.size()) : size);
    ::close(fd);
}

Bytes file_bytes(const std::string &path, int64_t offset = 0, size_t len = 1 << 20) {
    Bytes out(len);
    int fd = ::open(path.c_str(), O_RDONLY);
    out.resize(size_t(std::max<ssize_t>(::pread(fd, out.data(), len, offset), 0)));
    ::close(fd);
    return out;
}

// One read or write of buf through `ops` on a fresh descriptor; errno is kept.
int probe(const StorageOps &ops, bool write, const std::string &path, int64_t at, Bytes &buf,
          int flags = RFS_O_RDWR) {
    int fd = ops.open(path.c_str(), flags), len = int(buf.size());
    int n = write ? ops.write(fd, buf.data(), len, at) : ops.read(fd, buf.data(), len, at);
    int err = errno;
    ops.close(fd);
    errno = err;
    return n;
}

} // namespace

TEST(PosixStorage, NeverCreatesAndMovesBytesAboveFourGiB) {
    EXPECT_EQ(posix_open_flags(0x8001), O_WRONLY | O_CLOEXEC);
    TempDir dir;
    const std::string path = dir.file("sparse.img");
    // A missing file, and the access mode 3, create, truncate and append.
    for (int flags : {0x8002, 0x0003, 0x0102, 0x0200, 0x0008}) {
        EXPECT_EQ(posix_open(path.c_str(), flags), -1);
        EXPECT_EQ(errno, flags == 0x8002 ? ENOENT : EINVAL);
    }
    EXPECT_FALSE(std::filesystem::exists(path));

    constexpr int64_t kSize = (6LL << 30) + 4096;
    make_file(path, {}, kSize);
    int fd = posix_open(path.c_str(), RFS_O_RDWR | RFS_O_BINARY);
    const Bytes data = pattern(10000, 3);
    Bytes back(10000);
    const int64_t at = (4LL << 30) - 100; // across 4 GiB
    EXPECT_EQ(posix_write(fd, data.data(), 10000, at), 10000);
    EXPECT_EQ(posix_read(fd, back.data(), 10000, at), 10000);
    EXPECT_EQ(back, data);
    EXPECT_EQ(file_bytes(path, at, 10000), data);
    EXPECT_EQ(posix_read(fd, back.data(), 8192, kSize - 100), 100); // short at the end
    EXPECT_EQ(posix_sync(fd), 0);
    EXPECT_EQ(posix_close(fd), 0);
    EXPECT_EQ(std::filesystem::file_size(path), uint64_t(kSize));
}

TEST(DiskAlias, ShortNamesMapBackToTheRealPaths) {
    clear_aliases();
    TempDir dir;
    const std::string deep = dir.path() + "/" + std::string(80, 'n');
    EXPECT_EQ(alias_disk(dir.file("a.img")), "/rfs/d0");
    EXPECT_EQ(alias_disk(deep + "/"), "/rfs/d1");
    EXPECT_EQ(alias_disk(dir.path() + "/./x/../a.img"), "/rfs/d0");
    for (int i = 2; i <= 10; ++i) alias_disk(dir.file(std::to_string(i)));
    EXPECT_EQ(resolve_alias("/rfs/d1/file12"), deep + "/file12");
    EXPECT_EQ(resolve_alias("/rfs/d10"), dir.file("10"));
    for (std::string other : {"/rfs/d11", "/rfs/d01", "/rfs/d1x/file3", "/rfs/d", "x/rfs/d0"})
        EXPECT_EQ(resolve_alias(other), other);
    clear_aliases();
    EXPECT_EQ(resolve_alias("/rfs/d0"), "/rfs/d0");
}

namespace {

constexpr auto R = FaultOp::read, W = FaultOp::write;
constexpr auto kFail = FaultAction::fail, kShort = FaultAction::shorten;

FaultRule rule(FaultOp op, FaultAction action, std::string file, int64_t from = 0,
               int64_t to = INT64_MAX, uint32_t keep = 0, int err = EIO) {
    return FaultRule{op, action, std::move(file), from, to, 0, keep, err};
}

class FaultStorage : public ::testing::Test {
  protected:
    void SetUp() override {
        fault_wrap(posix_ops());
        for (const char *name : {"index0", "file3"}) make_file(dir.file(name), original);
    }
    TempDir dir;
    const StorageOps ops = fault_ops();
    const Bytes original = pattern(65536, 5);
};

} // namespace

TEST_F(FaultStorage, RulesPickCallsByFileAndRange) {
    struct Case {
        FaultRule rule;
        bool write;
        const char *file;
        int64_t offset;
        int result, err; // err when result is -1
    } cases[] = {
        {rule(R, kFail, "index0", 4096, 8192), false, "index0", 4000, -1, EIO}, // overlaps the start
        {rule(R, kFail, "index0", 4096, 8192), false, "index0", 8192, 512, 0},  // range is half-open
        {rule(R, kFail, "/file3"), false, "index0", 0, 512, 0},                 // another file
        {rule(R, kFail, "", 0, INT64_MAX, 0, 112), false, "file3", 0, -1, 112}, // any file, own errno
        {rule(R, kShort, "index0", 0, INT64_MAX, 999), false, "index0", 8, 511, 0}, // always short
        {rule(W, kFail, "/file3", 0, 1), true, "file3", 0, -1, EIO},
        {rule(W, kShort, "index0", 0, INT64_MAX, 10), true, "index0", 100, 10, 0},
    };
    for (const Case &c : cases) {
        fault_clear_rules();
        fault_add(c.rule);
        Bytes buf(512, 0x11), disk = original;
        errno = 0;
        int n = probe(ops, c.write, dir.file(c.file), c.offset, buf);
        EXPECT_EQ(n, c.result) << c.file << " at " << c.offset;
        EXPECT_EQ(errno, n < 0 ? c.err : 0);
        // A read delivers real bytes; only what a write moved lands on disk.
        EXPECT_TRUE(c.write || n <= 0 || std::equal(buf.begin(), buf.begin() + n, disk.begin() + c.offset));
        if (c.write && n > 0) std::fill_n(disk.begin() + c.offset, n, 0x11);
        EXPECT_EQ(file_bytes(dir.file(c.file)), disk);
        make_file(dir.file(c.file), original);
    }
}

TEST_F(FaultStorage, RulesPickTheNthCall) {
    for (auto [op, call] : {std::pair{R, 3}, {W, 1}, {R, 6}}) {
        fault_clear_rules();
        fault_add(FaultRule{op, kFail, "", 0, INT64_MAX, uint64_t(call)});
        fault_reset_counts();
        Bytes buf(64);
        for (int nr = 1; nr <= 5; ++nr) EXPECT_EQ(probe(ops, op == W, dir.file("file3"), 0, buf), nr == call ? -1 : 64);
    }
}

TEST_F(FaultStorage, PowerLossKeepsTheDiskAsItWasAndEveryCallIsCounted) {
    fault_power_loss_after(2);
    int fd = ops.open(dir.file("index0").c_str(), RFS_O_RDWR);
    Bytes disk = original, block(100), back(disk.size());
    for (int i = 0; i < 5; ++i) {
        std::fill(block.begin(), block.end(), uint8_t(0xA0 + i));
        EXPECT_EQ(ops.write(fd, block.data(), 100, 1000 * i), 100);
        if (i < 2) std::copy(block.begin(), block.end(), disk.begin() + 1000 * i);
    }
    EXPECT_EQ(ops.sync(fd), 0);
    EXPECT_EQ(ops.read(fd, back.data(), uint32_t(back.size()), 0), int(back.size()));
    EXPECT_EQ(back, disk);
    fault_clear_rules(); // power back: writes land again
    EXPECT_EQ(ops.write(fd, block.data(), 100, 0), 100);
    ops.close(fd);
    std::copy(block.begin(), block.end(), disk.begin());
    EXPECT_EQ(file_bytes(dir.file("index0")), disk);

    fault_add(rule(R, kShort, "", 0, INT64_MAX, 10));
    probe(ops, false, dir.file("file3"), 0, back);
    const FaultCounts &n = fault_counts();
    EXPECT_EQ((std::vector<uint64_t>{n.opens, n.closes, n.reads, n.writes, n.syncs, n.bytes_read,
                                     n.bytes_written, n.writes_dropped, n.failed}),
              (std::vector<uint64_t>{2, 2, 2, 6, 1, disk.size() + 10, 300, 3, 1}));
}

// What the overlay shows for [0, len), read in windows that cross pages.
Bytes read_through(const std::string &path, size_t len, int flags = RFS_O_RDWR) {
    Bytes out;
    for (size_t at = 0; at < len; at += 3001) {
        Bytes window(std::min<size_t>(len - at, 3001));
        EXPECT_EQ(probe(overlay_ops(), false, path, int64_t(at), window, flags), int(window.size())) << at;
        out.insert(out.end(), window.begin(), window.end());
    }
    return out;
}

TEST(OverlayStorage, ReadsItsWritesAndNeverChangesTheRealFile) {
    TempDir dir;
    const StorageOps ops = overlay_ops();
    const std::string path = dir.file("disk.img"), huge = dir.file("huge.img");
    const Bytes original = pattern(3 * 4096 + 100, 1);
    make_file(path, original);
    // Across a boundary, a whole page, past the end, leaving a gap of zeros, over held pages.
    const std::pair<int64_t, uint32_t> writes[] = {{4090, 12}, {0, 4096}, {8000, 5000}, {20000, 10}, {4095, 8194}};
    Bytes model = original;
    for (auto [offset, len] : writes) {
        Bytes data = pattern(len, uint8_t(offset));
        ASSERT_EQ(probe(ops, true, path, offset, data), int(len));
        model.resize(std::max(model.size(), size_t(offset + len)), 0);
        std::copy(data.begin(), data.end(), model.begin() + offset);
        EXPECT_EQ(read_through(path, model.size()), model) << "after the write at " << offset;
    }
    Bytes tail(100);
    EXPECT_EQ(probe(ops, false, path, int64_t(model.size()) - 40, tail), 40);
    EXPECT_EQ(read_through(alias_disk(path), model.size(), RFS_O_RDONLY), model); // by the alias
    EXPECT_EQ(probe(ops, true, path, 0, tail, RFS_O_RDONLY), -1); // as the real file would
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(file_bytes(path), original);
    EXPECT_EQ(overlay_page_count(), 5u);

    // Of a huge sparse image only the pages written are held.
    make_file(huge, {}, 8LL << 30);
    const int64_t at = (6LL << 30) - 10;
    Bytes data = pattern(20, 7), back(8192, 0xEE), expected(8192, 0);
    ASSERT_EQ(probe(ops, true, huge, at, data), 20);
    std::copy(data.begin(), data.end(), expected.begin() + 4096);
    EXPECT_EQ(probe(ops, false, huge, at - 4096, back), 8192);
    EXPECT_EQ(back, expected);
    EXPECT_EQ(overlay_page_count(), 7u);
    EXPECT_EQ(file_bytes(huge, at, 20), Bytes(20, 0));

    // A file changed behind the overlay drops the pages held for it.
    make_file(path, pattern(200, 9));
    EXPECT_EQ(read_through(path, 200), pattern(200, 9));
}

// Installed in the library: a mount's repair of a raw image stays in memory,
// and the next mount sees it there.
TEST(OverlayStorage, KeepsTheLibrarysRepairsInMemory) {
    TempDir dir;
    rec::DiskShape shape;
    shape.files_per_partition = 2;
    rec::Recorder recorder(shape, dir.file("raw"));
    recorder.set_disk_state(3);
    recorder.finish();
    const Bytes before = file_bytes(dir.file("raw"));
    ASSERT_EQ(fault_install(overlay_ops()), 0);
    LogCapture log;
    for (bool repairs : {true, false}) {
        log.clear();
        EXPECT_EQ(rfs_add_disk(0, alias_disk(dir.file("raw")).c_str(), 0, 0, nullptr), 0);
        EXPECT_EQ(rfs_remove_disk(0), 0);
        EXPECT_EQ(log.contains("state bad ,now repair"), repairs);
    }
    EXPECT_EQ(file_bytes(dir.file("raw")), before);
    overlay_reset();
}
