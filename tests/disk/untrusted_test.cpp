// Damaged parameter blocks and partition records, drawn at random: every mount
// must end with a result code, never a crash or a hang. The image is cut to
// its first 8 MiB and reached through the copy-on-write overlay, so whatever
// a recovery copies stays small and the image itself never changes.
#include <filesystem>
#include <random>

#include "disk_fixture.h"
#include "overlay_storage.h"

TEST_F(DiskTest, RandomlyDamagedBlocksMountOrAreRefusedCleanly) {
    // Offsets past the magic and the version, so most blocks pass the check;
    // half of them in the fields a mount reads (counts, states, offsets of
    // partition 0, its copy flags, the copy size).
    static const size_t read_by_mount[] = {12, 13, 14, 15, 20, 23, 24, 27, 64, 67, 68,
                                           71, 72, 74, 76, 79, 200, 216, 217, 218, 219};
    std::mt19937 rng(20261123);
    auto block_offset = [&] {
        if (rng() % 2) return read_by_mount[rng() % std::size(read_by_mount)];
        size_t off = std::uniform_int_distribution<size_t>(4, 267)(rng);
        return (off >= 16 && off < 20) ? off + 4 : off;
    };
    const rfs_host::StorageOps ops = rfs_host::overlay_ops();
    rfs_host::fault_install(ops);
    for (bool nas : {false, true}) {
        std::string path = make_disk(small_disk(1, nas), {}, nas ? "nas" : "raw");
        std::string block_file = nas ? real("nas") + "/index0" : real("raw");
        if (!nas) std::filesystem::resize_file(block_file, 8 << 20);
        const uint64_t record = nas ? geometry_.part_base[0] : copy_pos(0, 0);
        const Bytes block0 = read_file(block_file, 128, 272), part0 = read_file(block_file, record, 40);
        rfs_set_nas_mode(nas);
        int mounted = 0, bad = 0;
        for (int round = 0; round < 300; ++round) {
            rfs_host::overlay_reset();
            rfs::DiskParamBlock b;
            std::copy(block0.begin(), block0.end(), b.bytes);
            for (int n = std::uniform_int_distribution<int>(1, 6)(rng); n > 0; --n) b.bytes[block_offset()] = uint8_t(rng());
            b.set_check_sum(xor_sum(b));
            Bytes part = part0;
            part[std::uniform_int_distribution<size_t>(4, 11)(rng)] = uint8_t(rng());
            int fd = ops.open((nas ? path + "/index0" : path).c_str(), RFS_O_RDWR);
            ops.write(fd, b.bytes, 272, 128);
            ops.write(fd, part.data(), 40, int64_t(record));
            ops.close(fd);
            int r = rfs_add_disk(0, path.c_str(), 0, 0, nullptr);
            ASSERT_TRUE(r == 0 || r == -1) << "round " << round << " result " << r;
            if (r != 0) continue;
            ++mounted;
            bad += rfs::pg_disk_list[0]->param.part_count() > 0 && rfs::pg_disk_list[0]->partition[0].part_state() == 2;
            uint32_t total, free;
            uint8_t fs;
            EXPECT_EQ(rfs_get_disk_size(0, &total, &free, &fs), 0);
            testing::internal::CaptureStdout();
            rfs::dump_all_disks();
            testing::internal::GetCapturedStdout();
            EXPECT_EQ(rfs_remove_disk(0), 0);
        }
        // Most damage lies where the mount does not look; some must get through.
        EXPECT_GT(mounted, 100) << (nas ? "nas" : "raw");
        EXPECT_GT(bad, 10) << (nas ? "nas" : "raw");
    }
}
