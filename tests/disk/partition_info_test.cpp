// rfs_get_partition_info: a partition as it was mounted, and how each index
// copy's partition record reads now.
#include "disk_fixture.h"

TEST_F(DiskTest, PartitionInfoSaysWhichCopiesHoldThePartition) {
    rec::DiskShape shape = small_disk(2);
    shape.files_per_partition = 2;
    shape.index_flags = {0x0F, 0x0E}; // partition 1: copy 0 struck out by the recorder
    std::string path = make_disk(shape, [](rec::Recorder &r) {
        r.record(2, rec::t("2026-03-01 08:00:00"), rec::t("2026-03-01 08:00:20"), rec::kTimed, {.fps = 10});
        r.damage_index_copy(0, 1, 0, {'X'});  // partition 0: the secondary loses its magic
        r.damage_index_copy(1, 1, 0, {0, 0}); // partition 1: its primary copy 1 too
    });
    ASSERT_EQ(rfs_add_disk(3, path.c_str(), 0, 0, nullptr), 0);
    RfsPartitionInfo p0{}, p1{};
    ASSERT_EQ(rfs_get_partition_info(3, 0, &p0), 0);
    ASSERT_EQ(rfs_get_partition_info(3, 1, &p1), 0);
    using Copies = std::vector<uint8_t>;
    using Ints = std::vector<int>;
    EXPECT_EQ(Ints({p0.part_count, p0.state, p0.record_ok, p0.file_nr, p0.index_flags}), Ints({2, 0, 1, 2, 0x0F}));
    EXPECT_EQ(Ints({p0.record_start.hour, p0.record_end.second}), Ints({8, 20}));
    EXPECT_EQ(Copies(p0.copy_check, p0.copy_check + 4), (Copies{RFS_COPY_SAME, RFS_COPY_NO_MAGIC, RFS_COPY_SAME, RFS_COPY_SAME}));
    EXPECT_EQ(Ints({p1.state, p1.record_ok, p1.index_flags}), Ints({2, 0, 0x0E}));
    EXPECT_EQ(Copies(p1.copy_check, p1.copy_check + 4),
              (Copies{RFS_COPY_DIFFERS, RFS_COPY_NO_MAGIC, RFS_COPY_DIFFERS, RFS_COPY_DIFFERS}));
}
