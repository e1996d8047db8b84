// Index copies: selection and every recovery path, in raw and NAS mode, with
// the flags and the copied bytes checked on disk afterwards.
#include "disk/index.h"
#include "disk/paths.h"
#include "disk_fixture.h"
#include "frame/storage.h"

using rfs_host::FaultOp;

namespace {

class IndexCopies : public DiskTest {
  protected:
    // A one-partition disk whose copy 2 differs from the others, so that a
    // refill of the spare shows on disk; fd_ is open on the primary.
    void format(bool nas, uint8_t flags) {
        nas_ = nas;
        name_ = nas ? "nas" : "raw";
        rec::DiskShape shape = small_disk(1, nas);
        shape.index_flags = {flags};
        path_ = make_disk(shape, [](rec::Recorder &r) { r.damage_index_copy(0, 2, 0x1000, Bytes(64, 0xEE)); }, name_);
        rfs_set_nas_mode(nas);
        block_ = block_in(copy_file(0));
        fd_.reset(rfs::open_index_file(path_.c_str(), RFS_O_RDWR, rfs::select_index_copy(&block_, 0, true)));
        ASSERT_GE(fd_.get(), 0);
    }
    std::string copy_file(int k) { return nas_ ? real(name_) + "/index" + std::to_string(k) : real(name_); }
    uint64_t copy_at(int k) { return nas_ ? geometry_.part_base[0] : copy_pos(0, k); }
    Bytes area(int k, uint64_t off = 0, size_t len = 0) {
        return read_file(copy_file(k), copy_at(k) + off, len ? len : geometry_.index_copy_size);
    }
    // Fails the calls on [off, off + len) of copy k, or with `shorten` lets
    // half of each through: a partial read, a torn write.
    void fail(FaultOp op, int k, uint64_t off, uint64_t len, bool shorten = false) {
        int64_t from = int64_t(copy_at(k) + off);
        auto action = shorten ? rfs_host::FaultAction::shorten : rfs_host::FaultAction::fail;
        rfs_host::fault_add({op, action, copy_file(k), from, from + int64_t(len), 0, uint32_t(len / 2)});
    }
    // The flags every block on the disk holds (NAS: the index files from `first`).
    void expect_flags_on_disk(uint8_t want, int first = 0) {
        for (int k = first; k < (nas_ ? 4 : 1); ++k)
            EXPECT_EQ(std::pair(block_in(copy_file(k)).index_flags(0), sum_ok(block_in(copy_file(k)))), std::pair(want, true)) << k;
    }
    int read40(uint8_t *out) { return rfs::index_read(fd_.get(), &block_, 0, 0, out, 40, path_.c_str()); }

    bool nas_ = false;
    std::string name_, path_;
    rfs::DiskParamBlock block_;
    rfs::FdGuard fd_;
};

} // namespace

TEST_F(IndexCopies, SelectionTakesTheTwoLowestUsableCopies) {
    struct Case { int p; uint8_t flags; int primary, secondary; };
    for (Case c : {Case{0, 0x0F, 0, 1}, Case{0, 0x0A, 1, 3}, Case{0, 0x08, -1, -1}, Case{0, 0x00, -1, -1},
                   Case{0, 0xF6, 1, 2}, Case{16, 0x0F, -1, -1}, Case{-1, 0x0F, -1, -1}}) {
        rfs::DiskParamBlock b; // every byte 0x0F: a partition out of range must not find copies
        std::fill(std::begin(b.bytes), std::end(b.bytes), 0x0F);
        b.set_index_flags(c.p >= 0 && c.p < 16 ? c.p : 0, c.flags);
        EXPECT_EQ(rfs::select_index_copy(&b, c.p, true), c.primary) << int(c.flags) << "/" << c.p;
        EXPECT_EQ(rfs::select_index_copy(&b, c.p, false), c.secondary) << int(c.flags) << "/" << c.p;
    }
    EXPECT_EQ(rfs::select_index_copy(nullptr, 0, true), -1);
    EXPECT_TRUE(log_.contains("invalid param!"));
    EXPECT_TRUE(log_.contains("invalid index file flag!"));
}

// A failed or partial primary read, or a failed or torn secondary write: the
// copy is struck out on every block, and the spare (copy 2) is refilled from
// the copy that worked.
// Recovery can run out of copies: with three usable copies the spare refuses
// the copy, is struck out too, the good copy is copied onto itself and
// recovery reports success, but the next selection finds a single copy; with
// two usable copies there is no spare and the flags stay as they were.
TEST_F(IndexCopies, FailedCopiesAreStruckOutAndTheSpareRefilled) {
    using Write = decltype(&rfs::index_write);
    struct Case { bool nas; Write write; uint8_t flags; bool spare_refuses; uint8_t flags_after; std::vector<std::string> lines;
                  bool shorten = false; };
    const std::vector<std::string> spare_lost = {"write new file failed", "deal with index error sucess", "can't find valid index!"};
    const std::vector<std::string> none_left = {"all index file is err!", "read err:part0"};
    const Case cases[] = {
        {false, nullptr, 0x0F, false, 0x0E, {}},
        {true, nullptr, 0x0F, false, 0x0E, {}},
        {false, rfs::index_write, 0x0F, false, 0x0D, {}},
        {false, rfs::index_write_nas, 0x0F, false, 0x0D, {}},
        {true, rfs::index_write_nas, 0x0F, false, 0x0D, {}},
        {false, nullptr, 0x07, true, 0x02, spare_lost},
        {true, nullptr, 0x07, true, 0x02, spare_lost},
        {false, nullptr, 0x03, false, 0x03, none_left},
        {true, nullptr, 0x03, false, 0x03, none_left},
        {false, nullptr, 0x0F, false, 0x0E, {}, true},
        {true, nullptr, 0x0F, false, 0x0E, {}, true},
        {false, rfs::index_write, 0x0F, false, 0x0D, {}, true},
        {true, rfs::index_write_nas, 0x0F, false, 0x0D, {}, true},
        {false, nullptr, 0x07, true, 0x02, spare_lost, true},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << (c.nas ? "nas " : "raw ") << (c.write ? "write " : "read ") << int(c.flags)
                                        << (c.shorten ? " short" : ""));
        format(c.nas, c.flags);
        const int failed = c.write ? 1 : 0, good = 1 - failed;
        const uint64_t off = c.write ? geometry_.file_table_off : 0;
        Bytes data(c.write ? 16 : 40, 0xAB);
        ASSERT_NE(area(2), area(good));
        fail(c.write ? FaultOp::write : FaultOp::read, failed, off, data.size(), c.shorten);
        if (c.spare_refuses) fail(FaultOp::write, 2, 0, 1 + c.shorten, c.shorten);
        log_.clear();
        int r = c.write ? c.write(fd_.get(), &block_, 0, off, data.data(), 16, path_.c_str()) : read40(data.data());
        EXPECT_EQ(r, c.lines.empty() ? 0 : -1);
        for (const std::string &line : c.lines) EXPECT_TRUE(log_.contains(line)) << line;
        EXPECT_EQ(block_.index_flags(0), c.flags_after);
        expect_flags_on_disk(c.flags_after);
        if (r == 0) {
            EXPECT_EQ(area(good, off, data.size()), data); // written there, or read from there
            EXPECT_EQ(area(2), area(good));
        }
        rfs_host::fault_clear_rules();
    }
}

// A search's read of a mounted disk reports with its own texts.
TEST_F(IndexCopies, MountedDiskReadFailureUsesTheSearchTexts) {
    format(false, 0x03);
    ASSERT_EQ(rfs_add_disk(0, path_.c_str(), 0, 0, nullptr), 0);
    fail(FaultOp::read, 0, 0, 40);
    uint8_t rec[40];
    EXPECT_EQ(rfs::index_read_disk(fd_.get(), rfs::pg_disk_list[0], 0, 0, rec, 40), -1);
    EXPECT_TRUE(log_.contains("22write file " + path_ + " failed ret=-1"));
    EXPECT_TRUE(log_.contains("del by day err: disk0, part0"));
}

TEST_F(IndexCopies, NasPrimaryThatCannotBeOpenedIsRecoveredAtMount) {
    format(true, 0x0F);
    rfs_host::fault_add({FaultOp::open, rfs_host::FaultAction::fail, copy_file(0)});
    ASSERT_EQ(rfs_add_disk(0, path_.c_str(), 0, 0, nullptr), 0);
    EXPECT_TRUE(log_.contains("open " + path_ + " index0 failed, errno=5"));
    EXPECT_EQ(rfs::pg_disk_list[0]->param.index_flags(0), 0x0E);
    EXPECT_EQ(rfs::pg_disk_list[0]->partition[0].magic(), rfs::kMagicPart);
    expect_flags_on_disk(0x0E, 1);
    EXPECT_EQ(block_in(copy_file(0)).index_flags(0), 0x0F); // never opened, never written
    EXPECT_EQ(area(2), area(1));
}

// A copy size that is not a whole number of chunks: the remainder is copied too.
TEST_F(IndexCopies, RecoveryCopiesWholeChunksThenTheRemainder) {
    format(false, 0x0F);
    rfs::DiskParamBlock b = block_;
    rfs::store_le32(b.bytes + rfs::DiskParamBlock::kIndexCopySize, 0x180001);
    rfs_host::fault_reset_counts();
    int fd = fd_.get();
    ASSERT_EQ(rfs::deal_with_index_error(&b, 0, 0, &fd, path_.c_str()), 0);
    const rfs_host::FaultCounts &n = rfs_host::fault_counts();
    EXPECT_EQ(std::vector<uint64_t>({n.reads, n.bytes_read, n.bytes_written, n.syncs}),
              std::vector<uint64_t>({4, 0x180001, 0x180001 + 272, 1})); // the copy, then the block
}
