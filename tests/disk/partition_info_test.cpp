// rfs_get_partition_info: a partition as it was mounted, and how each index
// copy's partition record reads now.
#include "disk_fixture.h"

TEST(PartitionInfo, SaysWhichCopiesHoldThePartition) {
    TempDir dir;
    const std::string img = dir.file("d.img");
    rec::DiskShape shape;
    shape.partitions = 2;
    shape.files_per_partition = 2;
    shape.index_flags = {0x0F, 0x0E}; // partition 1: copy 0 struck out by the recorder
    {
        rec::Recorder r(shape, img);
        rec::RecordOptions o;
        o.fps = 10;
        r.record(2, rec::t("2026-03-01 08:00:00"), rec::t("2026-03-01 08:00:20"), rec::kTimed, o);
        r.damage_index_copy(0, 1, 0, {'X'});    // partition 0: the secondary loses its magic
        r.damage_index_copy(1, 1, 0, {0, 0}); // partition 1: its primary copy 1 too
        r.finish();
    }
    rfs_host::install_posix();
    rfs_set_nas_mode(0);
    ASSERT_EQ(rfs_add_disk(3, img.c_str(), 0, 0, nullptr), 0);
    RfsPartitionInfo p0{}, p1{};
    ASSERT_EQ(rfs_get_partition_info(3, 0, &p0), 0);
    ASSERT_EQ(rfs_get_partition_info(3, 1, &p1), 0);
    EXPECT_EQ(p0.part_count, 2);
    EXPECT_EQ(p0.state, 0);
    EXPECT_EQ(p0.record_ok, 1);
    EXPECT_EQ(p0.file_nr, 2);
    EXPECT_EQ(p0.record_start.hour, 8);
    EXPECT_EQ(p0.record_end.second, 20);
    EXPECT_EQ(p0.index_flags, 0x0F);
    const uint8_t p0_copies[4] = {RFS_COPY_SAME, RFS_COPY_NO_MAGIC, RFS_COPY_SAME, RFS_COPY_SAME};
    EXPECT_EQ(0, memcmp(p0.copy_check, p0_copies, 4));
    EXPECT_EQ(p1.state, 2);
    EXPECT_EQ(p1.record_ok, 0);
    EXPECT_EQ(p1.index_flags, 0x0E);
    const uint8_t p1_copies[4] = {RFS_COPY_DIFFERS, RFS_COPY_NO_MAGIC, RFS_COPY_DIFFERS, RFS_COPY_DIFFERS};
    EXPECT_EQ(0, memcmp(p1.copy_check, p1_copies, 4));

    EXPECT_EQ(rfs_get_partition_info(3, 2, &p0), RFS_ERR_MISSING);
    EXPECT_EQ(rfs_get_partition_info(3, -1, &p0), RFS_ERR_MISSING);
    EXPECT_EQ(rfs_get_partition_info(3, 0, nullptr), RFS_ERR_NULL);
    EXPECT_EQ(rfs_get_partition_info(4, 0, &p0), -1);
    EXPECT_EQ(rfs_get_partition_info(32, 0, &p0), -1);
    rfs_remove_disk(3);
    rfs_host::clear_aliases();
}
