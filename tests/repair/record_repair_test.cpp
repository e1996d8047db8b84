// Power-cut disks in every state the recorder leaves, repaired at mount and
// compared byte for byte with what the repair must leave.
#include "repair_fixture.h"

#include "frame/time.h"

namespace {

const rec::RecordOptions kSmall{.fps = 10, .key_interval = 20, .key_bytes = 3000, .p_bytes = 300, .motion_step = 1};

// Four channels recorded, then one event interrupted in each state of the
// cut, snapshots in an open picture file (one of them deleted).
void every_cut_state(rec::Recorder &r) {
    using C = rec::Cut;
    const rec::PackedTime s = rec::t("2026-03-01 10:00:00"), e = rec::t("2026-03-01 10:00:20");
    const rec::PackedTime s2 = rec::t("2026-03-01 10:01:00"), cut = rec::t("2026-03-01 10:01:05");
    for (int chn = 1; chn <= 5; ++chn) r.record(chn, s, e, chn == 5 ? rec::kAlarm : rec::kMotion, kSmall);
    rec::RecordOptions hidden = kSmall;
    hidden.skip_flag = 2;
    r.record_interrupted(1, s2, cut, rec::kMotion, hidden, C::KeyFramesWritten);
    r.record_interrupted(2, s2, cut, rec::kMotion, kSmall, C::NoKeyFrameYet);
    r.record_interrupted(3, s2, cut, rec::kAlarm, kSmall, C::EventClosed);
    r.record_interrupted(4, s2, cut, rec::kMotion | (1ull << 40), kSmall, C::WrongEventNo);
    r.record_interrupted(6, s2, cut, rec::kManual, kSmall, C::NoKeyFrameYet); // the file's only event
    r.snapshot(1, s2, 5000);
    r.snapshot(70, cut, 7000, {.status = 2});
    r.snapshot(31, cut, 3000);
}

rec::DiskShape shape_of(bool nas) {
    rec::DiskShape shape;
    shape.files_per_partition = 10;
    shape.nas = nas;
    return shape;
}

} // namespace

TEST_F(RepairTest, EveryCutStateIsRepairedToTheModelOnRawAndNas) {
    for (bool nas : {false, true}) {
        SCOPED_TRACE(nas ? "nas" : "raw");
        const std::string name = nas ? "nas" : "raw";
        std::string disk = power_cut(shape_of(nas), every_cut_state, name);
        ASSERT_NE(differs_from_model(name), std::vector<std::string>{});
        ASSERT_EQ(rfs_add_disk(0, disk.c_str(), 0, 0, nullptr), 0);
        EXPECT_EQ(differs_from_model(name), std::vector<std::string>{});
        EXPECT_EQ(rfs::pg_disk_list[0]->partition[0].repair_flag(), 0);
        EXPECT_TRUE(log_.contains("chn4 Warning event nr conflict!!!"));
        EXPECT_TRUE(log_.contains("find PIC_END_MAGIC!"));
        EXPECT_TRUE(log_.contains("this is impossible,bad luck!")); // no key frame below iframe_top

        // The end times of the closed events, handed out once per channel.
        RfsDateTime out{};
        EXPECT_EQ(rfs_get_repair_record_time(1, rec::kAlarm, &out), 0); // no shared bit: emptied all the same
        EXPECT_EQ(rfs_get_repair_record_time(1, rec::kMotion, &out), 0);
        EXPECT_EQ(rfs::pack_time(out), 0u);
        EXPECT_EQ(rfs_get_repair_record_time(4, 1ull << 40, &out), 0);
        EXPECT_EQ(rfs::pack_time(out), rec::t("2026-03-01 10:01:04"));
        EXPECT_EQ(rfs_get_repair_record_time(kRepairChannels / 2, ~0ull, &out), -1);
        EXPECT_TRUE(log_.contains("param err chn=8 "));

        // What the host is told: two events closed, two removed, five
        // files closed, then the partition.
        std::vector<std::tuple<int, int, int, int>> seen; // kind, chn, file, count
        for (const RfsRepairAction &a : actions(0)) seen.emplace_back(a.kind, a.chn, a.file_no, a.count);
        using T = std::tuple<int, int, int, int>;
        const std::vector<T> want = {
            {RFS_REPAIR_EVENT_CLOSED, 1, 1, 2},  {RFS_REPAIR_RECORD_FILE, 1, 1, 2},
            {RFS_REPAIR_EVENT_REMOVED, 2, 2, 2}, {RFS_REPAIR_RECORD_FILE, 2, 2, 1},
            {RFS_REPAIR_RECORD_FILE, 3, 3, 2},   {RFS_REPAIR_EVENT_CLOSED, 4, 4, 2},
            {RFS_REPAIR_RECORD_FILE, 4, 4, 2},   {RFS_REPAIR_RECORD_FILE, 5, 5, 1},
            {RFS_REPAIR_EVENT_REMOVED, 6, 6, 1}, {RFS_REPAIR_RECORD_FILE, 6, 6, 0},
            {RFS_REPAIR_PICTURE_FILE, 0, 7, 2},  {RFS_REPAIR_PARTITION, 0, 0, 7}};
        EXPECT_EQ(seen, want);
        EXPECT_EQ(actions(0)[5].flags, RFS_REPAIR_NUMBER_FIXED);

        // The files the repair closed are listed like any other: five whole
        // events and the three the cut left closed.
        std::vector<uint8_t> every(kRepairChannels / 8, 0xFF);
        RfsSearchParam q{};
        q.search_type = 3;
        q.chnCnt = kRepairChannels;
        q.record_type = ~0ull;
        q.chnBit = every.data();
        rfs::unpack_time(rec::t("2026-03-01 00:00:00"), &q.start);
        rfs::unpack_time(rec::t("2026-03-01 23:59:59"), &q.end);
        RfsEventList ignored{};
        const int h = rfs_find_start(&q, &ignored, 0);
        int listed = 0;
        for (int c = 1; c <= 6; ++c) {
            RfsEventList l{};
            if (rfs_get_event(uint32_t(h), c, &l) == 0) listed += l.count;
        }
        EXPECT_EQ(listed, 8);

        // A second mount finds nothing left to do and writes nothing.
        rfs_host::fault_reset_counts();
        ASSERT_EQ(rfs_add_disk(0, disk.c_str(), 0, 0, nullptr), 0);
        EXPECT_EQ(rfs_host::fault_counts().writes, 0u);
        EXPECT_EQ(actions(0).size(), 0u);
        rfs_remove_disk(0);
    }
}

// Mounts `disk` once with the power cut after each write of its repair in
// turn, and with the write in flight torn (some of its sectors land), then
// again without the cut: every time the disk must end as `reference`.
void expect_every_cut_finishes(RepairTest &t, const std::string &name, const std::string &disk,
                               const std::string &reference) {
    t.restore(name);
    rfs_host::fault_reset_counts();
    ASSERT_EQ(rfs_add_disk(0, disk.c_str(), 0, 0, nullptr), 0);
    const std::vector<rfs_host::FaultWrite> writes = rfs_host::fault_writes();
    ASSERT_GT(writes.size(), 10u);
    struct Cut { uint64_t after, torn; };
    std::vector<Cut> cuts;
    int torn_writes = 0;
    for (uint64_t n = 0; n < writes.size(); ++n) {
        cuts.push_back({n, 0});
        uint32_t sectors = std::min(writes[n].sectors(), 4u);
        torn_writes += sectors > 1;
        for (uint64_t mask = 1; mask + 1 < (1ull << sectors); ++mask) cuts.push_back({n, mask});
    }
    EXPECT_GT(torn_writes, 0); // file records straddle sectors
    for (const Cut &c : cuts) {
        SCOPED_TRACE("cut after write " + std::to_string(c.after) + ", torn " + std::to_string(c.torn));
        rfs_remove_disk(0);
        t.restore(name);
        rfs_host::fault_reset_counts();
        rfs_host::fault_power_loss_after(c.after, c.torn);
        ASSERT_EQ(rfs_add_disk(0, disk.c_str(), 0, 0, nullptr), 0);
        ASSERT_EQ(rfs_host::fault_counts().writes_dropped, writes.size() - c.after);
        rfs_host::fault_clear_rules();
        ASSERT_EQ(rfs_add_disk(0, disk.c_str(), 0, 0, nullptr), 0);
        ASSERT_EQ(differing_files(t.path(name), reference), std::vector<std::string>{});
    }
    rfs_remove_disk(0);
}

TEST_F(RepairTest, ARepairCutAtAnyWriteIsFinishedByTheNextMount) {
    for (bool nas : {false, true}) {
        SCOPED_TRACE(nas ? "nas" : "raw");
        const std::string name = nas ? "nas" : "raw";
        std::string disk = power_cut(shape_of(nas), every_cut_state, name);
        expect_every_cut_finishes(*this, name, disk, path(name + ".model"));
    }
}

// A removed event keeps its other fields, and the file's positions come from
// it; where they differ from the event before it (here its second header
// area), a mount after a cut that came after the removal must still take them
// from the removed event. The reference is the library's own uncut repair.
TEST_F(RepairTest, AFileWhoseEventWasRemovedEndsTheSameAfterACut) {
    std::string disk = power_cut(shape_of(false), every_cut_state, "raw");
    patch_event_entry(path("raw.cut"), 2, 2, 36, {0x40, 0, 0, 0});
    restore("raw");
    ASSERT_EQ(rfs_add_disk(0, disk.c_str(), 0, 0, nullptr), 0);
    rfs_remove_disk(0);
    copy_disk(path("raw"), path("raw.ref"));
    const rectest::Bytes rec = rectest::RawDisk(path("raw.ref")).file_record(0, 2);
    EXPECT_EQ(rectest::le32(&rec[320]), geometry_.motion_end + 0x40); // aux_end from the removed event
    expect_every_cut_finishes(*this, "raw", disk, path("raw.ref"));
}
