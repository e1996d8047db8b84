// Index copies: selection and every recovery path, in raw and NAS mode, with
// the flags and the copied bytes checked on disk afterwards.
#include "disk/index.h"
#include "disk/paths.h"
#include "disk/registry.h"
#include "disk_fixture.h"
#include "fault_storage.h"
#include "frame/storage.h"
#include "rfs.h"

using rfs_host::FaultOp;

namespace {

class IndexCopies : public DiskTest {
  protected:
    // A one-partition disk whose copy 2 differs from the others, so that a
    // refill of the spare shows on disk.
    void format(bool nas, uint8_t flags) {
        nas_ = nas;
        name_ = nas ? "nas" : "raw";
        rec::DiskSpec shape = small_disk(1, nas);
        shape.index_flags = {flags};
        path_ = make_disk(shape, [](rec::Recorder &r) {
            r.damage_index_copy(0, 2, 0x1000, std::vector<uint8_t>(64, 0xEE));
            return true;
        }, name_);
        use_nas(nas);
        block_ = block_in(copy_file(0));
        size_ = geometry_.index_copy_size;
        int k = rfs::select_index_copy(&block_, 0, true);
        fd_.reset(rfs::open_index_file(path_.c_str(), RFS_O_RDWR, k));
        ASSERT_GE(fd_.get(), 0);
    }
    std::string copy_file(int k) { return nas_ ? real(name_) + "/index" + std::to_string(k) : real(name_); }
    uint64_t copy_at(int k) { return nas_ ? geometry_.part_base[0] : copy_pos(0, k); }
    std::vector<uint8_t> area(int k, uint64_t off = 0, size_t len = 0) {
        return read_file(copy_file(k), copy_at(k) + off, len ? len : size_);
    }
    void fail(FaultOp op, int k, uint64_t off, uint64_t len) {
        rfs_host::FaultRule r;
        r.op = op;
        r.file = copy_file(k);
        r.from = int64_t(copy_at(k) + off);
        r.to = r.from + int64_t(len);
        rfs_host::fault_add(r);
    }
    // The flags every block on the disk holds (NAS: the copies it could write).
    void expect_flags_on_disk(uint8_t want, int first_file = 0) {
        for (int k = first_file; k < (nas_ ? 4 : 1); ++k) {
            rfs::DiskParamBlock b = block_in(copy_file(k));
            EXPECT_EQ(b.index_flags(0), want) << "index file " << k;
            EXPECT_TRUE(sum_ok(b)) << "index file " << k;
        }
    }
    int read40(uint8_t *out) { return rfs::index_read(fd_.get(), &block_, 0, 0, out, 40, path_.c_str()); }

    bool nas_ = false;
    std::string name_, path_;
    rfs::DiskParamBlock block_;
    uint32_t size_ = 0;
    rfs::FdGuard fd_;
};

} // namespace

TEST_F(IndexCopies, SelectionTakesTheTwoLowestUsableCopies) {
    struct Case { int p; uint8_t flags; int primary, secondary; };
    for (Case c : {Case{0, 0x0F, 0, 1}, Case{0, 0x0A, 1, 3}, Case{0, 0x08, -1, -1},
                   Case{0, 0x00, -1, -1}, Case{0, 0xF6, 1, 2}, Case{16, 0x0F, -1, -1},
                   Case{-1, 0x0F, -1, -1}}) {
        rfs::DiskParamBlock b;
        if (c.p >= 0 && c.p < 16) b.set_index_flags(c.p, c.flags);
        else b.set_index_flags(0, c.flags);
        EXPECT_EQ(rfs::select_index_copy(&b, c.p, true), c.primary) << int(c.flags) << "/" << c.p;
        EXPECT_EQ(rfs::select_index_copy(&b, c.p, false), c.secondary) << int(c.flags);
    }
    EXPECT_EQ(rfs::select_index_copy(nullptr, 0, true), -1);
    EXPECT_TRUE(log_.contains("invalid param!"));
    EXPECT_TRUE(log_.contains("invalid index file flag!"));
}

TEST_F(IndexCopies, PrimaryReadFailureRefillsTheSpareFromTheSecondary) {
    for (bool nas : {false, true}) {
        SCOPED_TRACE(nas ? "nas" : "raw");
        format(nas, 0x0F);
        ASSERT_NE(area(2), area(1));
        fail(FaultOp::read, 0, 0, 40);
        uint8_t rec[40];
        ASSERT_EQ(read40(rec), 0);
        EXPECT_EQ(block_.index_flags(0), 0x0E);
        expect_flags_on_disk(0x0E);
        EXPECT_EQ(area(2), area(1));
        EXPECT_EQ(std::vector<uint8_t>(rec, rec + 40), area(1, 0, 40));
        rfs_host::fault_clear_rules();
    }
}

TEST_F(IndexCopies, SecondaryWriteFailureRefillsTheSpareFromThePrimary) {
    struct Case { bool nas; bool nas_form; };
    for (Case c : {Case{false, false}, Case{false, true}, Case{true, true}}) {
        SCOPED_TRACE(std::string(c.nas ? "nas" : "raw") + (c.nas_form ? " index_write_nas" : ""));
        format(c.nas, 0x0F);
        const uint64_t off = geometry_.file_table_off;
        const std::vector<uint8_t> data(16, 0xAB);
        fail(FaultOp::write, 1, off, 16);
        auto write = c.nas_form ? rfs::index_write_nas : rfs::index_write;
        ASSERT_EQ(write(fd_.get(), &block_, 0, off, data.data(), 16, path_.c_str()), 0);
        EXPECT_EQ(block_.index_flags(0), 0x0D);
        expect_flags_on_disk(0x0D);
        EXPECT_EQ(area(0, off, 16), data);
        EXPECT_EQ(area(2), area(0));
        rfs_host::fault_clear_rules();
    }
}

// Recovery that runs out of copies. With three usable copies the spare
// refuses the copy: it is struck out too, the good copy is copied onto itself
// and recovery reports success, but the next selection finds a single copy.
// With two usable copies there is no spare and the flags stay as they were.
TEST_F(IndexCopies, RecoveryThatRunsOutOfCopiesFailsTheRead) {
    struct Case {
        uint8_t flags;
        bool spare_refuses;
        uint8_t flags_after;
        std::vector<std::string> lines;
    };
    const Case cases[] = {
        {0x07, true, 0x02,
         {"write new file failed", "deal with index error sucess", "can't find valid index!"}},
        {0x03, false, 0x03, {"all index file is err!", "read err:part0"}},
    };
    for (const Case &c : cases) {
        for (bool nas : {false, true}) {
            SCOPED_TRACE(std::string(nas ? "nas " : "raw ") + std::to_string(c.flags));
            format(nas, c.flags);
            fail(FaultOp::read, 0, 0, 40);
            if (c.spare_refuses) fail(FaultOp::write, 2, 0, 1);
            log_.clear();
            uint8_t rec[40];
            EXPECT_EQ(read40(rec), -1);
            for (const std::string &line : c.lines) EXPECT_TRUE(log_.contains(line)) << line;
            EXPECT_EQ(block_.index_flags(0), c.flags_after);
            expect_flags_on_disk(c.flags_after);
            rfs_host::fault_clear_rules();
        }
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
    rfs_host::FaultRule no_open;
    no_open.op = FaultOp::open;
    no_open.file = copy_file(0);
    rfs_host::fault_add(no_open);
    ASSERT_EQ(rfs_add_disk(0, path_.c_str(), 0, 0, nullptr), 0);
    EXPECT_TRUE(log_.contains("open " + path_ + " index0 failed, errno=5"));
    EXPECT_EQ(rfs::pg_disk_list[0]->param.index_flags(0), 0x0E);
    EXPECT_EQ(rfs::pg_disk_list[0]->partition[0].magic(), rfs::kMagicPart);
    expect_flags_on_disk(0x0E, 1);
    EXPECT_EQ(block_in(copy_file(0)).index_flags(0), 0x0F); // never opened, never written
    EXPECT_FALSE(log_.contains("set disk param to all index failed"));
    EXPECT_EQ(area(2), area(1));
}

TEST_F(IndexCopies, RecoveryCopiesWholeChunksThenTheRemainder) {
    format(false, 0x0F);
    rfs::DiskParamBlock b = block_;
    rfs::store_le32(b.bytes + rfs::DiskParamBlock::kIndexCopySize, 0x180001);
    rfs_host::fault_reset_counts();
    int fd = fd_.get();
    ASSERT_EQ(rfs::deal_with_index_error(&b, 0, 0, &fd, path_.c_str()), 0);
    EXPECT_EQ(rfs_host::fault_counts().reads, 4u);
    EXPECT_EQ(rfs_host::fault_counts().bytes_read, 0x180001u);
    EXPECT_EQ(rfs_host::fault_counts().syncs, 1u);
    EXPECT_EQ(rfs::deal_with_index_error(&b, 0, 0, nullptr, path_.c_str()), -1);
    EXPECT_TRUE(log_.contains("invalid fd!"));
}
