// Key-frame indexes and motion areas that disagree with the event being
// repaired, and the block boundaries of the key-frame scan.
#include "repair_fixture.h"

namespace {

const rec::RecordOptions kOpts{.fps = 10, .key_interval = 20, .key_bytes = 3000, .p_bytes = 300, .motion_step = 1};

void one_interrupted(rec::Recorder &r) {
    r.record(1, rec::t("2026-03-01 10:00:00"), rec::t("2026-03-01 10:00:10"), rec::kMotion, kOpts);
    r.record_interrupted(1, rec::t("2026-03-01 10:01:00"), rec::t("2026-03-01 10:01:09"), rec::kMotion, kOpts,
                         rec::Cut::KeyFramesWritten);
}

} // namespace

// Each damage is bounded: the event is closed without a motion end, or
// removed, with its log line; the partition is repaired all the same.
TEST_F(RepairTest, DisagreeingIndexesRemoveTheEventWithALogLine) {
    // damage: data-file offset and bytes, or (in_index) offset in the event entry
    struct Case { const char *what; std::function<std::pair<uint64_t, rectest::Bytes>(const rec::EventTruth &)> damage;
                  bool in_index; int kind; const char *line; };
    const Case cases[] = {
        {"no Iend below the newest entry",
         [](const rec::EventTruth &e) { return std::pair(uint64_t(e.kframes.back().entry_pos - 32), rectest::Bytes{0, 0, 0, 0}); },
         false, RFS_REPAIR_EVENT_REMOVED, "can't find last iframe"},
        {"newest entry points before the event",
         [](const rec::EventTruth &e) { return std::pair(uint64_t(e.kframes.back().entry_pos + 8), rectest::Bytes{0, 0x10, 0, 0}); },
         false, RFS_REPAIR_EVENT_REMOVED, "chn1 last iframe(4096, "},
        {"frame header not a frame",
         [](const rec::EventTruth &e) { return std::pair(uint64_t(e.kframes.back().offset), rectest::Bytes{'X'}); },
         false, RFS_REPAIR_EVENT_REMOVED, "chn1 last iframe disagrees with its frame"},
        {"iframe_top beyond the data file",
         [](const rec::EventTruth &) { return std::pair(uint64_t(12), rectest::Bytes{0xF0, 0xFF, 0xFF, 0xFF}); },
         true, RFS_REPAIR_EVENT_REMOVED, "can't find last iframe"},
        {"no MoBitEnd after the motion records",
         [](const rec::EventTruth &e) {
             return std::pair(uint64_t(e.moarea_start + 80 * e.motion.size()), rectest::Bytes{0, 0, 0, 0});
         },
         false, RFS_REPAIR_EVENT_CLOSED, "not find end mobit, then end_offset = start_offset"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        std::string disk = power_cut(small_disk(), one_interrupted, c.what);
        const rec::EventTruth &ev = events_.back();
        auto [off, bytes] = c.damage(ev);
        rectest::RawDisk view(path(c.what));
        if (c.in_index)
            patch_event_entry(path(c.what), ev.file_no, ev.event_no, uint32_t(off), bytes);
        else
            rectest::write_at(path(c.what), view.data_file(0, ev.file_no) + off, bytes);
        log_.clear();
        ASSERT_EQ(rfs_add_disk(0, disk.c_str(), 0, 0, nullptr), 0);
        EXPECT_TRUE(log_.contains(c.line));
        EXPECT_EQ(actions(0).front().kind, c.kind);
        EXPECT_EQ(rfs::pg_disk_list[0]->partition[0].repair_flag(), 0);
        const rectest::Bytes stored = view.event(0, ev.file_no, ev.event_no);
        if (c.kind == RFS_REPAIR_EVENT_REMOVED) {
            EXPECT_EQ(rectest::le32(&stored[0]), 0u);
            EXPECT_EQ(rectest::le16(&view.file_record(0, ev.file_no)[6]), ev.event_no - 1);
        } else {
            EXPECT_EQ(rectest::le32(&stored[56]), ev.moarea_start);
        }
        rfs_remove_disk(0);
    }
}

// With one key frame a second, the "Iend" marker below 2047, 2048 and 2049
// entries lies in the first slot of the first block, the top slot of the
// second (the newest entry then opens the first block) and the slot below.
TEST_F(RepairTest, TheNewestEntryIsFoundAcrossScanBlocks) {
    for (int keys : {2047, 2048, 2049}) {
        SCOPED_TRACE(keys);
        rec::DiskShape shape = small_disk();
        shape.headers_only = true;
        const std::string name = "keys" + std::to_string(keys);
        std::string disk = power_cut(shape, [&](rec::Recorder &r) {
            rec::PackedTime s = rec::t("2026-03-01 10:00:00");
            r.record_interrupted(0, s, rec::unix_to_packed(rec::packed_to_unix(s) + keys - 1), rec::kTimed,
                                 {.fps = 1, .key_interval = 1}, rec::Cut::KeyFramesWritten);
        }, name);
        ASSERT_EQ(events_.back().kframes.size(), size_t(keys));
        ASSERT_EQ(rfs_add_disk(0, disk.c_str(), 0, 0, nullptr), 0);
        EXPECT_EQ(differs_from_model(name), std::vector<std::string>{});
        rfs_remove_disk(0);
    }
}

// A repair that cannot write stops: the partition is marked bad for this
// mount, its flag stays set on disk, and the host is told.
TEST_F(RepairTest, ARepairThatCannotWriteLeavesThePartitionFlagged) {
    std::string disk = power_cut(small_disk(), one_interrupted);
    rfs_host::FaultRule no_writes;
    no_writes.op = rfs_host::FaultOp::write;
    rfs_host::fault_add(no_writes);
    ASSERT_EQ(rfs_add_disk(0, disk.c_str(), 0, 0, nullptr), 0);
    EXPECT_TRUE(log_.contains("write event err!"));
    EXPECT_TRUE(log_.contains("repair rec err"));
    EXPECT_EQ(rfs::pg_disk_list[0]->partition[0].part_state(), 2);
    const std::vector<RfsRepairAction> done = actions(0);
    ASSERT_EQ(done.size(), 1u);
    EXPECT_EQ(std::pair(int(done[0].kind), int(done[0].flags)), std::pair(RFS_REPAIR_PARTITION, RFS_REPAIR_FAILED));
    EXPECT_EQ(rectest::RawDisk(path("d")).partition(0)[11], 1);
    EXPECT_EQ(rfs_get_repair_actions(32, nullptr, 0), RFS_ERR_NO_DISK);
}

// A "Pend" marker met only in the last of the 32 scanned blocks counts on a
// NAS share and not on a raw disk, where the picture file's summary is left
// empty and the host is told.
TEST_F(RepairTest, APictureEndMarkerInTheLastBlockCountsOnNasOnly) {
    for (bool nas : {false, true}) {
        SCOPED_TRACE(nas ? "nas" : "raw");
        const std::string name = nas ? "nas" : "raw";
        std::string disk = power_cut(small_disk(1, nas), [](rec::Recorder &r) { r.snapshot(3, rec::t("2026-03-01 10:00:00"), 4000); }, name);
        const std::string file = nas ? path(name) + "/file0" : path(name);
        const uint64_t base = nas ? 0 : rectest::RawDisk(path(name)).data_file(0, 1);
        const uint64_t end = geometry_.file_size, block32 = end - 32ull * 8192 * 48;
        rectest::write_at(file, base + end - 96, {0, 0, 0, 0});  // the marker below the one picture
        rectest::write_at(file, base + block32, {'P', 'e', 'n', 'd', 0, 0, 0x40, 0});
        log_.clear();
        ASSERT_EQ(rfs_add_disk(0, disk.c_str(), 0, 0, nullptr), 0);
        const RfsRepairAction pic = actions(0)[0];
        EXPECT_EQ(pic.kind, RFS_REPAIR_PICTURE_FILE);
        EXPECT_EQ(std::pair(int(pic.count), int(pic.flags)), nas ? std::pair(1, 0) : std::pair(0, RFS_REPAIR_NO_END_MARKER));
        EXPECT_EQ(log_.contains("can't find pic end index!"), !nas);
        rfs_remove_disk(0);
    }
}
