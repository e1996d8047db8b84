#include <cerrno>
#include <gtest/gtest.h>

#include "disk_alias.h"
#include "fault_storage.h"
#include "files.h"
#include "posix_storage.h"
#include "support/temp_dir.h"

using namespace rfs_host;

namespace {

constexpr auto R = FaultOp::read, W = FaultOp::write, O = FaultOp::open;
constexpr auto kFail = FaultAction::fail, kShort = FaultAction::shorten;

// Rule fields in order: op, action, file, from, to, call, keep, err.
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
    int open(const std::string &name) { return ops.open(dir.file(name).c_str(), RFS_O_RDWR); }
    // One read or write of len bytes at offset, on a fresh descriptor.
    int probe(FaultOp op, const std::string &file, int64_t offset, uint32_t len, uint8_t *buf) {
        int fd = open(file);
        int n = op == R ? ops.read(fd, buf, len, offset) : ops.write(fd, buf, len, offset);
        int err = errno;
        ops.close(fd);
        errno = err;
        return n;
    }

    TempDir dir;
    StorageOps ops = fault_ops();
    const std::vector<uint8_t> original = pattern(65536, 5);
};

} // namespace

TEST_F(FaultStorage, RulesPickCallsByFileAndRange) {
    struct Case {
        FaultRule rule;
        FaultOp op;
        const char *file;
        int64_t offset;
        int result, err; // err when result is -1
    } cases[] = {
        {rule(R, kFail, "index0", 4096, 8192), R, "index0", 4000, -1, EIO},  // overlaps the start
        {rule(R, kFail, "index0", 4096, 8192), R, "index0", 3584, 512, 0},   // ends at it
        {rule(R, kFail, "index0", 4096, 8192), R, "index0", 8192, 512, 0},   // range is half-open
        {rule(R, kFail, "/file3"), R, "index0", 0, 512, 0},                  // another file
        {rule(R, kFail, "/file3"), R, "file3", 0, -1, EIO},                  // suffix
        {rule(R, kFail, "", 0, INT64_MAX, 0, 112), R, "file3", 0, -1, 112},  // any file, own errno
        {rule(R, kShort, "index0", 0, INT64_MAX, 100), R, "index0", 8, 100, 0},
        {rule(R, kShort, "index0", 0, INT64_MAX, 999), R, "index0", 8, 511, 0}, // always short
        {rule(W, kFail, "index0", 0, 1), W, "index0", 0, -1, EIO},
        {rule(W, kShort, "index0", 0, INT64_MAX, 10), W, "index0", 100, 10, 0},
    };
    for (const Case &c : cases) {
        fault_clear_rules();
        fault_add(c.rule);
        std::vector<uint8_t> buf(512, 0x11);
        errno = 0;
        int n = probe(c.op, c.file, c.offset, 512, buf.data());
        EXPECT_EQ(n, c.result) << c.file << " at " << c.offset;
        EXPECT_EQ(errno, n < 0 ? c.err : 0);
        // A read delivers real bytes; only what a write moved lands on disk.
        std::vector<uint8_t> disk = original;
        if (c.op == W && n > 0) std::fill_n(disk.begin() + c.offset, n, 0x11);
        if (c.op == R && n > 0) {
            EXPECT_TRUE(std::equal(buf.begin(), buf.begin() + n, disk.begin() + c.offset));
        }
        EXPECT_EQ(file_bytes(dir.file(c.file)), disk);
        make_file(dir.file(c.file), original);
    }
}

TEST_F(FaultStorage, RulesPickTheNthCallOrAnOpen) {
    for (auto [op, call] : {std::pair{R, 3}, {W, 1}, {R, 6}}) {
        fault_clear_rules();
        FaultRule r = rule(op, kFail, "");
        r.call = uint64_t(call);
        fault_add(r);
        fault_reset_counts();
        uint8_t buf[64];
        for (int nr = 1; nr <= 5; ++nr) EXPECT_EQ(probe(op, "file3", 0, 64, buf), nr == call ? -1 : 64) << nr;
    }
    fault_clear_rules();
    fault_add(rule(O, kFail, "index0"));
    fault_add(rule(O, kFail, dir.file("file9"))); // a real path behind an alias
    std::string alias = alias_disk(dir.path());
    const std::pair<std::string, bool> opens[] = {
        {dir.file("index0"), true}, {dir.file("file3"), false}, {alias + "/index0", true},
        {alias + "/file9", true},   {alias + "/file3", false},
    };
    make_file(dir.file("file9"), {});
    for (const auto &[path, fails] : opens) {
        int fd = ops.open(path.c_str(), 0);
        EXPECT_EQ(fd < 0, fails) << path;
        ops.close(fd);
    }
    clear_aliases();
}

TEST_F(FaultStorage, PowerLossKeepsTheDiskAsItWasAtTheLoss) {
    fault_power_loss_after(2);
    int fd = open("index0");
    std::vector<uint8_t> disk = original, block(100);
    for (int i = 0; i < 5; ++i) {
        std::fill(block.begin(), block.end(), uint8_t(0xA0 + i));
        EXPECT_EQ(ops.write(fd, block.data(), 100, 1000 * i), 100);
        if (i < 2) std::copy(block.begin(), block.end(), disk.begin() + 1000 * i);
    }
    EXPECT_EQ(ops.sync(fd), 0);
    std::vector<uint8_t> back(disk.size());
    EXPECT_EQ(ops.read(fd, back.data(), uint32_t(back.size()), 0), int(back.size()));
    EXPECT_EQ(back, disk);
    fault_clear_rules(); // power back: writes land again
    EXPECT_EQ(ops.write(fd, block.data(), 100, 9000), 100);
    ops.close(fd);
    std::copy(block.begin(), block.end(), disk.begin() + 9000);
    EXPECT_EQ(file_bytes(dir.file("index0")), disk);

    const FaultCounts &n = fault_counts();
    const uint64_t got[] = {n.opens, n.closes, n.reads, n.writes, n.syncs, n.bytes_read, n.bytes_written, n.writes_dropped};
    const uint64_t want[] = {1, 1, 1, 6, 1, disk.size(), 300, 3};
    EXPECT_TRUE(std::equal(got, got + 8, want));
    fault_add(rule(R, kShort, "", 0, INT64_MAX, 10));
    probe(R, "file3", 0, 512, back.data());
    EXPECT_EQ(n.failed, 1u);
    EXPECT_EQ(n.bytes_read, disk.size() + 10);
}
