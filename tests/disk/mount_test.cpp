// Mounting and unmounting through the public calls, and what a mount leaves
// on disk when it repairs a disk or partition the recorder marked bad.
#include <filesystem>

#include "disk_fixture.h"
#include "frame/alloc.h"

using rfs::pg_disk_list;

TEST_F(DiskTest, RawMountFillsTheRecordDerivedValuesAndGroup) {
    rec::DiskShape shape = small_disk(2);
    shape.data_file_size = rec::kFile1G;
    shape.switch_a = 7;
    shape.switch_b = 9;
    std::string path = make_disk(shape);
    AddDiskOptions marks{0, 1, 0};
    ASSERT_EQ(rfs_add_disk(5, path.c_str(), 1, 3, &marks), 0);
    const rfs::disk_info_t *d = pg_disk_list[5];
    EXPECT_EQ(std::tuple(d->id, d->kind, std::string(d->path)), std::tuple(5, 1, path));
    EXPECT_EQ(Bytes(d->param.bytes, d->param.bytes + 272), read_file(real(), 128, 272));
    for (int p = 0; p < 2; ++p)
        EXPECT_EQ(Bytes(d->partition[p].bytes, d->partition[p].bytes + 40), read_file(real(), copy_pos(p, 0), 40));
    EXPECT_EQ(d->partition[2].magic(), 0u);
    EXPECT_EQ(std::tuple(rfs::g_event_index_size, rfs::g_max_part_file_nr, rfs::g_max_switch, rfs::g_mark_a_disk),
              std::tuple(32768u, uint16_t(4), 9u, uint8_t(5)));
    EXPECT_TRUE(log_.contains("add raw disk now!"));
    // Group numbers: base 32 for kind 1 or negative, -1 outside 0..31.
    struct Group { int kind, group, gfd; };
    for (Group g : {Group{1, 3, 35}, Group{0, 3, 3}, Group{-1, 0, 32}, Group{0, 40, -1}, Group{2, -1, -1}}) {
        ASSERT_EQ(rfs_add_disk(6, path.c_str(), g.kind, g.group, nullptr), 0);
        EXPECT_EQ(pg_disk_list[6]->gfd, g.gfd) << g.kind << "/" << g.group;
    }
}

TEST_F(DiskTest, RemoveAndAddCodesAndRefusals) {
    std::string path = make_disk(small_disk());
    EXPECT_EQ(rfs_add_disk(32, path.c_str(), 0, 0, nullptr), RFS_ERR_TIME);
    EXPECT_TRUE(log_.contains("hdd num > max hdd num, id:32, max_id:32"));
    EXPECT_EQ(rfs_add_disk(1, std::string(64, 'x').c_str(), 0, 0, nullptr), -1);
    EXPECT_EQ(pg_disk_list[1], nullptr);
    EXPECT_EQ(rfs_remove_disk(7), 0); // not added: only marked removed
    EXPECT_EQ(rfs::g_removed_disk_mask, 1u << 7);

    AddDiskOptions marks{0, 1, 1};
    ASSERT_EQ(rfs_add_disk(7, path.c_str(), 0, 0, &marks), 0);
    EXPECT_EQ(std::tuple(rfs::g_removed_disk_mask, rfs::g_mark_b_disk), std::tuple(0u, uint8_t(7)));
    ASSERT_EQ(rfs_add_disk(7, path.c_str(), 0, 0, nullptr), 0); // replaces the record
    EXPECT_EQ(rfs_remove_disk(7), 0);
    EXPECT_EQ(pg_disk_list[7], nullptr);
    EXPECT_EQ(rfs::g_mark_a_disk + rfs::g_mark_b_disk, 0);

    // Blocks refused before anything is written, and an allocation failure:
    // the disk already in the slot stays mounted, or the slot is emptied.
    ASSERT_EQ(rfs_add_disk(7, path.c_str(), 0, 0, nullptr), 0);
    const rfs::disk_info_t *before = pg_disk_list[7];
    struct Case { const char *what; size_t off; uint8_t byte; const char *line; };
    for (Case c : {Case{"17 partitions", 12, 17, "disk param err part count 17 > max part count 16"},
                   Case{"fs type 9", 15, 9, "disk param err not support fs type now!"}}) {
        std::string bad = make_disk(small_disk(), {}, c.what);
        patch_block(real(c.what), c.off, {c.byte});
        EXPECT_EQ(rfs_add_disk(7, bad.c_str(), 0, 0, nullptr), -1) << c.what;
        EXPECT_TRUE(log_.contains(c.line)) << c.what;
        EXPECT_EQ(pg_disk_list[7], before) << c.what;
    }
    rfs::set_alloc_failure(0);
    EXPECT_EQ(rfs_add_disk(7, path.c_str(), 0, 0, nullptr), RFS_ERR_NO_MEMORY);
    EXPECT_TRUE(log_.contains("malloc disk_info_t failed"));
    EXPECT_EQ(pg_disk_list[7], nullptr);
}

TEST_F(DiskTest, DumpPrintsEveryPartitionsRecordAndPictureTimes) {
    std::string path = make_disk(small_disk(), [](rec::Recorder &r) {
        r.record(1, rec::t("2026-03-01 10:00:00"), rec::t("2026-03-01 10:01:00"), rec::kTimed);
        r.snapshot(1, rec::t("2026-03-01 10:00:30"), 1000);
    });
    ASSERT_EQ(rfs_add_disk(2, path.c_str(), 0, 0, nullptr), 0);
    testing::internal::CaptureStdout();
    rfs::dump_all_disks();
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "all disk rec:\ndisk:2, " + path +
                                                          "\n    part:0 (26/3/1 10:0:0)-(26/3/1 10:1:0)\n"
                                                          "    part:0 (26/3/1 10:0:30)-(26/3/1 10:0:30)\n");
}

// A disk left in a bad state: the mount resets it in the block of every copy
// (NAS: all four index files) and a bad partition state on the primary copy
// only. The power goes during the first mount's repair: nothing lands, and
// the next mount finds the bad state again and finishes the job.
TEST_F(DiskTest, BadStatesAreRepairedOnDiskEvenAfterAPowerCut) {
    for (bool nas : {false, true}) {
        const std::string name = nas ? "nas" : "raw";
        SCOPED_TRACE(name);
        std::string path = make_disk(small_disk(1, nas), [&](rec::Recorder &r) {
            r.set_disk_state(nas ? 4 : 3);
            r.set_partition_state(0, 2);
        }, name);
        auto block_file = [&](int k) { return nas ? real(name) + "/index" + std::to_string(k) : real(name); };
        rfs_set_nas_mode(nas);
        rfs_host::fault_power_loss_after(0);
        ASSERT_EQ(rfs_add_disk(0, path.c_str(), 0, 0, nullptr), 0);
        EXPECT_EQ(block_in(block_file(0)).disk_state(), nas ? 4 : 3);
        rfs_host::fault_clear_rules();
        log_.clear();
        ASSERT_EQ(rfs_add_disk(0, path.c_str(), 0, 0, nullptr), 0);
        EXPECT_TRUE(log_.contains("disk:0 state bad ,now repair!!!!"));
        EXPECT_TRUE(log_.contains(nas ? "add nas disk now!" : "add raw disk now!"));
        for (int k = 0; k < (nas ? 4 : 1); ++k)
            EXPECT_TRUE(block_in(block_file(k)).disk_state() == 0 && sum_ok(block_in(block_file(k)))) << k;
        const rfs::disk_info_t *d = pg_disk_list[0];
        EXPECT_EQ(std::tuple(d->param.disk_state(), d->partition[0].magic(), d->partition[0].part_state()),
                  std::tuple(uint8_t(0), rfs::kMagicPart, uint8_t(0)));
        if (!nas) {
            EXPECT_EQ(read_file(real(name), copy_pos(0, 0) + 10, 1), Bytes{0});
            EXPECT_EQ(read_file(real(name), copy_pos(0, 1) + 10, 1), Bytes{2});
        }
    }
}

// Where the block and the partition record place a partition, against the
// disk: at its end is fine, one byte or one MiB past it, wrapping in 64 bits,
// or overlapping the data files is not. A refused partition is marked bad with
// its record left empty, before anything is read, copied or written there.
TEST_F(DiskTest, GeometryOutsideTheDiskIsRefusedBeforeAnyAccess) {
    using Patch = std::pair<size_t, Bytes>;
    const auto le64 = [](uint64_t v) { Bytes b = le32(uint32_t(v)), h = le32(uint32_t(v >> 32)); b.insert(b.end(), h.begin(), h.end()); return b; };
    struct Case { const char *what; bool nas; std::function<std::vector<Patch>(const rec::Geometry &)> block; int64_t cut = 0; uint16_t files = 0; const char *line = nullptr; };
    const uint32_t mb = 1 << 20;
    const Case cases[] = {
        {"data files end at the disk's end", false, [](auto &) { return std::vector<Patch>{}; }},
        {"disk one MiB short of the data files", false, [&](auto &g) { return std::vector<Patch>{{4, le32(uint32_t(g.total_bytes / mb - 1))}}; }, 0, 0, "data files end at"},
        {"device one byte short of the block's disk", false, [](auto &) { return std::vector<Patch>{}; }, -1, 0, "beyond the disk"},
        {"partition far beyond the disk", false, [&](auto &) { return std::vector<Patch>{{72, le64(0x7F00000000000000)}}; }, 0, 0, "index area"},
        {"copies wrap the 64-bit range", false, [&](auto &) { return std::vector<Patch>{{72, le64(~0ull - 4095)}, {216, le32(0x20000000)}}; }, 0, 0, "index area"},
        {"copies reach into the data files", false, [&](auto &g) { return std::vector<Patch>{{68, le32(4 * g.index_copy_size - 1)}}; }, 0, 0, "index area"},
        {"data files right after the copies", false, [&](auto &g) { return std::vector<Patch>{{68, le32(4 * g.index_copy_size)}}; }},
        {"copy too small for the partition record", false, [](auto &) { return std::vector<Patch>{{216, le32(39)}}; }, 0, 0, "index area"},
        {"more files than an index copy holds", false, [](auto &) { return std::vector<Patch>{}; }, 0, 0xFFFF, "65535 files do not fit"},
        {"a single usable copy", false, [](auto &) { return std::vector<Patch>{{200, {0x01}}}; }, 0, 0, "can't find valid index!"},
        {"NAS: area at the index file's end", true, [](auto &) { return std::vector<Patch>{}; }},
        {"NAS: area one byte past the index file", true, [&](auto &g) { return std::vector<Patch>{{216, le32(g.index_copy_size + 1)}}; }, 0, 0, "beyond the disk"},
        {"NAS: more files than an index copy holds", true, [](auto &) { return std::vector<Patch>{}; }, 0, 0xFFFF, "65535 files do not fit"},
        {"NAS: area wraps the 64-bit range", true, [&](auto &) { return std::vector<Patch>{{72, le64(~0ull - 100)}}; }, 0, 0, "index area"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        std::string path = make_disk(small_disk(1, c.nas), {}, c.what);
        std::string block_file = c.nas ? real(c.what) + "/index0" : real(c.what);
        for (const Patch &p : c.block(geometry_)) patch_block(block_file, p.first, p.second);
        if (c.cut) std::filesystem::resize_file(block_file, std::filesystem::file_size(block_file) + c.cut);
        const uint64_t record = c.nas ? geometry_.part_base[0] : copy_pos(0, 0);
        if (c.files) write_file(block_file, record + 4, {uint8_t(c.files), uint8_t(c.files >> 8)});
        rfs_set_nas_mode(c.nas);
        rfs_host::fault_reset_counts();
        log_.clear();
        ASSERT_EQ(rfs_add_disk(1, path.c_str(), 0, 0, nullptr), 0);
        const rfs::PartitionRecord &part = pg_disk_list[1]->partition[0];
        EXPECT_EQ(part.part_state(), c.line ? 2 : 0);
        if (c.line) {
            EXPECT_TRUE(log_.contains(c.line)) << c.line;
            EXPECT_EQ(part.file_nr(), 0);
        }
        EXPECT_EQ(rfs_host::fault_counts().bytes_written, 0u);
        EXPECT_LT(rfs_host::fault_counts().bytes_read, 4096u);
        rfs_remove_disk(1);
    }
    EXPECT_EQ(rfs::g_max_part_file_nr, 4);
    // A partition the recorder was writing: its repair is reported as failed
    // before it began, and nothing is written.
    std::string path = make_disk(small_disk(), [](rec::Recorder &r) { r.set_repair_flag(0, true); }, "flagged");
    patch_block(real("flagged"), 4, le32(uint32_t(geometry_.total_bytes / mb - 1)));
    rfs_set_nas_mode(0);
    rfs_host::fault_reset_counts();
    ASSERT_EQ(rfs_add_disk(1, path.c_str(), 0, 0, nullptr), 0);
    RfsRepairAction a[2] = {};
    EXPECT_EQ(rfs_get_repair_actions(1, a, 2), 1);
    EXPECT_EQ(std::tuple(a[0].kind, a[0].flags, a[0].partition), std::tuple(RFS_REPAIR_PARTITION, RFS_REPAIR_FAILED, 0));
    EXPECT_EQ(rfs_host::fault_counts().bytes_written, 0u);
}

// Sixteen partitions, the most a block describes, all mount; partition 15
// is the last one read.
TEST_F(DiskTest, SixteenPartitionsAllMount) {
    std::string path = make_disk(small_disk(16));
    ASSERT_EQ(rfs_add_disk(3, path.c_str(), 0, 0, nullptr), 0);
    for (int p = 0; p < 16; ++p)
        EXPECT_EQ(std::pair(pg_disk_list[3]->partition[p].magic(), pg_disk_list[3]->partition[p].part_state()),
                  std::pair(rfs::kMagicPart, uint8_t(0))) << p;
    EXPECT_TRUE(log_.contains("add disk repair record:" + path + " part:15 sucess!"));
}

// A NAS path leaves 63 characters minus "/fileN" for its data-file names: the
// partition of a disk whose highest data file cannot be named is refused.
TEST_F(DiskTest, NasPathMustLeaveRoomForItsDataFileNames) {
    for (size_t len : {57, 58}) {
        std::string dir = tmp_.file("n") + std::to_string(len); // the disk directory, `len` characters
        dir += std::string(len - dir.size(), 'x');
        rec::Recorder r(small_disk(1, true), dir);
        r.finish();
        rfs_set_nas_mode(1);
        ASSERT_EQ(rfs_add_disk(0, dir.c_str(), 0, 0, nullptr), 0);
        // file0..file3: 57 + 6 characters fit the 63 a name may have, 58 + 6 do not
        EXPECT_EQ(pg_disk_list[0]->partition[0].part_state(), len == 57 ? 0 : 2) << len;
        EXPECT_EQ(log_.contains("disk path too long:" + dir + " part0 file3"), len == 58) << len;
    }
}
