// Mounting and unmounting through the public calls, and what a mount leaves
// on disk when it repairs a disk or partition the recorder marked bad.
#include "disk/registry.h"
#include "frame/alloc.h"
#include "disk_fixture.h"
#include "fault_storage.h"
#include "rfs.h"

using rfs::pg_disk_list;

namespace {

uint8_t part_state_at(const std::vector<uint8_t> &rec) { return rec.at(10); }

} // namespace

TEST_F(DiskTest, RawMountFillsTheRecordAndDerivedValues) {
    rec::DiskSpec shape = small_disk(2);
    shape.data_file_size = rec::kFile1G;
    shape.switch_a = 7;
    shape.switch_b = 9;
    std::string path = make_disk(shape);
    AddDiskOptions marks{0, 1, 0};
    ASSERT_EQ(rfs_add_disk(5, path.c_str(), 1, 3, &marks), 0);
    const rfs::disk_info_t *d = pg_disk_list[5];
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(d->id, 5);
    EXPECT_EQ(d->gfd, 35);
    EXPECT_EQ(d->kind, 1);
    EXPECT_EQ(std::string(d->path), path);
    EXPECT_EQ(0, std::memcmp(d->param.bytes, block_in(real()).bytes, rfs::DiskParamBlock::kSize));
    for (int p = 0; p < 2; ++p) {
        std::vector<uint8_t> rec = read_file(real(), copy_pos(p, 0), 40);
        EXPECT_EQ(0, std::memcmp(d->partition[p].bytes, rec.data(), 40)) << p;
    }
    EXPECT_EQ(d->partition[2].magic(), 0u);
    EXPECT_EQ(rfs::g_event_index_size, 32768u);
    EXPECT_EQ(rfs::g_max_part_file_nr, 4);
    EXPECT_EQ(rfs::g_max_switch, 9u);
    EXPECT_EQ(rfs::g_mark_a_disk, 5);
    EXPECT_TRUE(log_.contains("add raw disk now!"));

    // Group numbers: base 32 for kind 1 or negative, -1 outside 0..31.
    struct Group { int kind, group, gfd; };
    for (Group g : {Group{0, 3, 3}, Group{-1, 0, 32}, Group{0, 40, -1}, Group{2, -1, -1}}) {
        ASSERT_EQ(rfs_add_disk(6, path.c_str(), g.kind, g.group, nullptr), 0);
        EXPECT_EQ(pg_disk_list[6]->gfd, g.gfd) << g.kind << "/" << g.group;
    }
}

TEST_F(DiskTest, RemoveAndAddCodes) {
    std::string path = make_disk(small_disk());
    const LogCapture &log = log_;
    EXPECT_EQ(rfs_add_disk(32, path.c_str(), 0, 0, nullptr), RFS_ERR_TIME);
    EXPECT_EQ(rfs_add_disk(-1, path.c_str(), 0, 0, nullptr), RFS_ERR_TIME);
    EXPECT_TRUE(log.contains("hdd num > max hdd num, id:32, max_id:32"));
    EXPECT_EQ(rfs_add_disk(1, nullptr, 0, 0, nullptr), RFS_ERR_NULL);
    EXPECT_EQ(rfs_add_disk(1, std::string(64, 'x').c_str(), 0, 0, nullptr), -1);
    EXPECT_EQ(pg_disk_list[1], nullptr);
    EXPECT_EQ(rfs_remove_disk(32), -1);
    EXPECT_EQ(rfs_remove_disk(-1), -1);
    EXPECT_TRUE(log.contains("disk 32 out of range"));
    EXPECT_EQ(rfs_remove_disk(7), 0);
    EXPECT_TRUE(log.contains("disk 7 not added"));
    EXPECT_EQ(rfs::g_removed_disk_mask, 1u << 7);

    AddDiskOptions marks{0, 1, 1};
    ASSERT_EQ(rfs_add_disk(7, path.c_str(), 0, 0, &marks), 0);
    EXPECT_EQ(rfs::g_removed_disk_mask, 0u);
    EXPECT_EQ(rfs::g_mark_b_disk, 7);
    ASSERT_EQ(rfs_add_disk(7, path.c_str(), 0, 0, nullptr), 0); // replaces the record
    EXPECT_EQ(rfs_remove_disk(7), 0);
    EXPECT_EQ(pg_disk_list[7], nullptr);
    EXPECT_EQ(rfs::g_mark_a_disk + rfs::g_mark_b_disk, 0);
    EXPECT_TRUE(log.contains("disk group  not added, diskid = 7, gfd = 0"));
    EXPECT_TRUE(log.contains("remove_disk 875,pg_disk_list[id] = NULL;"));

    ASSERT_EQ(rfs_add_disk(7, path.c_str(), 0, 0, nullptr), 0);
    rfs::set_alloc_failure(0);
    EXPECT_EQ(rfs_add_disk(7, path.c_str(), 0, 0, nullptr), RFS_ERR_NO_MEMORY);
    EXPECT_TRUE(log.contains("malloc disk_info_t failed"));
    EXPECT_EQ(pg_disk_list[7], nullptr);
}

TEST_F(DiskTest, DumpPrintsEveryPartitionsRecordAndPictureTimes) {
    std::string path = make_disk(small_disk(), [](rec::Recorder &r) {
        r.record(1, rec::t("2026-03-01 10:00:00"), rec::t("2026-03-01 10:01:00"), rec::kTimed);
        r.snapshot(1, rec::t("2026-03-01 10:00:30"), 1000);
        return true;
    });
    ASSERT_EQ(rfs_add_disk(2, path.c_str(), 0, 0, nullptr), 0);
    testing::internal::CaptureStdout();
    rfs::dump_all_disks();
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "all disk rec:\ndisk:2, " + path +
                  "\n    part:0 (26/3/1 10:0:0)-(26/3/1 10:1:0)\n"
                  "    part:0 (26/3/1 10:0:30)-(26/3/1 10:0:30)\n");
}

// Blocks the mount refuses before anything is written; a disk already in the
// slot stays mounted.
TEST_F(DiskTest, RefusedBlocksLeaveTheSlotAlone) {
    std::string good = make_disk(small_disk(), "good");
    ASSERT_EQ(rfs_add_disk(4, good.c_str(), 0, 0, nullptr), 0);
    const rfs::disk_info_t *before = pg_disk_list[4];
    struct Case {
        const char *what;
        size_t off;
        uint8_t byte;
        const char *line;
    };
    for (Case c : {Case{"17 partitions", 12, 17, "disk param err part count 17 > max part count 16"},
                   Case{"fs type 9", 15, 9, "disk param err not support fs type now!"}}) {
        SCOPED_TRACE(c.what);
        std::string path = make_disk(small_disk(), c.what);
        patch_block(real(c.what), c.off, {c.byte});
        log_.clear();
        EXPECT_EQ(rfs_add_disk(4, path.c_str(), 0, 0, nullptr), -1);
        EXPECT_TRUE(log_.contains(c.line));
        EXPECT_EQ(pg_disk_list[4], before);
    }
}

TEST_F(DiskTest, BadDiskStateIsResetOnEveryCopyAndPartitionStateOnThePrimary) {
    std::string path = make_disk(small_disk(), [](rec::Recorder &r) {
        r.set_disk_state(3);
        r.set_partition_state(0, 2);
        return true;
    });
    ASSERT_EQ(rfs_add_disk(0, path.c_str(), 0, 0, nullptr), 0);
    EXPECT_TRUE(log_.contains("disk:0 state bad ,now repair!!!!"));
    rfs::DiskParamBlock b = block_in(real());
    EXPECT_EQ(b.disk_state(), 0);
    EXPECT_TRUE(sum_ok(b));
    EXPECT_EQ(part_state_at(read_file(real(), copy_pos(0, 0), 40)), 0);
    EXPECT_EQ(part_state_at(read_file(real(), copy_pos(0, 1), 40)), 2);
    EXPECT_EQ(pg_disk_list[0]->partition[0].part_state(), 0);
    EXPECT_EQ(pg_disk_list[0]->param.disk_state(), 0);
}

TEST_F(DiskTest, NasMountResetsTheBlockInAllFourIndexFiles) {
    std::string path = make_disk(small_disk(1, true), [](rec::Recorder &r) {
        r.set_disk_state(4);
        return true;
    });
    use_nas(true);
    ASSERT_EQ(rfs_add_disk(3, path.c_str(), 0, 0, nullptr), 0);
    EXPECT_TRUE(log_.contains("add nas disk now!"));
    EXPECT_EQ(pg_disk_list[3]->partition[0].magic(), rfs::kMagicPart);
    for (int k = 0; k < 4; ++k) {
        rfs::DiskParamBlock b = block_in(real() + "/index" + std::to_string(k));
        EXPECT_EQ(b.disk_state(), 0) << k;
        EXPECT_TRUE(sum_ok(b)) << k;
    }
}

// The power goes while the mount writes its repair: the writes are lost, and
// the next mount finds the bad state again and finishes the job.
TEST_F(DiskTest, StateRepairCutByPowerLossIsFinishedByTheNextMount) {
    std::string path = make_disk(small_disk(), [](rec::Recorder &r) {
        r.set_disk_state(3);
        r.set_partition_state(0, 2);
        return true;
    });
    rfs_host::fault_power_loss_after(0);
    ASSERT_EQ(rfs_add_disk(0, path.c_str(), 0, 0, nullptr), 0);
    EXPECT_EQ(block_in(real()).disk_state(), 3);
    rfs_host::fault_clear_rules();
    ASSERT_EQ(rfs_add_disk(0, path.c_str(), 0, 0, nullptr), 0);
    EXPECT_EQ(block_in(real()).disk_state(), 0);
    EXPECT_EQ(part_state_at(read_file(real(), copy_pos(0, 0), 40)), 0);
}

// Damaged blocks and records: each mount ends cleanly, the damaged partition
// marked bad in memory.
TEST_F(DiskTest, AbsurdGeometryIsRefusedCleanly) {
    using Patch = std::pair<size_t, std::vector<uint8_t>>;
    struct Case {
        const char *what;
        std::vector<Patch> patches;
        uint8_t want_state;
    };
    const Patch beyond = {216, le32(0xFFFFF000)};
    const Case cases[] = {
        {"partition far beyond the disk", {{72, {0, 0, 0, 0, 0, 0, 0, 0x7F}}}, 2},
        {"index copy size 0", {{216, le32(0)}}, 0},
        {"copies beyond the disk, primary copy 1", {{200, {0x0E}}, beyond}, 2},
        {"a single usable copy", {{200, {0x01}}}, 2},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        std::string path = make_disk(small_disk(), c.what);
        for (const Patch &p : c.patches) patch_block(real(c.what), p.first, p.second);
        ASSERT_EQ(rfs_add_disk(1, path.c_str(), 0, 0, nullptr), 0);
        EXPECT_EQ(pg_disk_list[1]->partition[0].part_state(), c.want_state);
    }
}

TEST_F(DiskTest, HugeFileCountMountsWithoutHugeAllocations) {
    std::string path = make_disk(small_disk());
    write_file(real(), copy_pos(0, 0) + 4, {0xFF, 0xFF});
    ASSERT_EQ(rfs_add_disk(2, path.c_str(), 0, 0, nullptr), 0);
    EXPECT_EQ(rfs::g_max_part_file_nr, 65535);
}
