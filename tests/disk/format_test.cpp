// The format check and the size reports of the disk parameter block.
#include <cstdio>
#include <fstream>
#include <tuple>

#include "disk_fixture.h"

TEST_F(DiskTest, FormatCheckTableLogsTheExactLine) {
    std::string path = make_disk(small_disk());
    const Bytes good = read_file(real(), 128, rfs::DiskParamBlock::kSize);
    const std::string ok_tail = ",magic:1936091985==1936091985, version:(5/1)-(5/1)\n";
    // tail: the line after the check-sum part; empty for a valid block.
    struct Case { const char *what; size_t off; Bytes bytes; bool fix_sum; std::string tail; };
    const Case cases[] = {
        {"untouched", 0, {}, false, ""},
        {"wrong magic", 3, {'t'}, true, ",magic:1952869201!=1936091985, version:(5/1)-(5/1)\n"},
        {"versions swapped", 16, {5, 0, 1, 0}, true, ",magic:1936091985==1936091985, version:(1/5)-(5/1)\n"},
        {"stale check sum", 268, {0x5A}, false, ok_tail},
        {"the last summed word counts", 267, {0xA5}, false, ok_tail},
        {"odd data-file size passes", 64, le32(0x30000000), true, ""},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        write_file(real(), 128, good);
        if (!c.bytes.empty()) patch_block(real(), c.off, c.bytes, c.fix_sum);
        const rfs::DiskParamBlock b = block_in(real());
        log_.clear();
        EXPECT_EQ(rfs_format_is_valid(path.c_str()), c.tail.empty() ? 0 : -1);
        char line[96];
        std::snprintf(line, sizeof line, "not valid rfs format, check_sum:%#x%c=%#x", b.check_sum(),
                      sum_ok(b) ? '=' : '!', xor_sum(b));
        const std::vector<std::string> m = log_.messages(); // the exact line, once
        EXPECT_EQ(std::count(m.begin(), m.end(), line + c.tail), c.tail.empty() ? 0 : 1);
        EXPECT_EQ(log_.count("not valid rfs format"), c.tail.empty() ? 0 : 1);
        EXPECT_TRUE(c.tail.empty() || log_.contains("ret = -1"));
    }
}

TEST_F(DiskTest, FormatCheckRefusesMissingAndTruncatedDisks) {
    std::string missing = rfs_host::alias_disk(tmp_.file("absent.img"));
    EXPECT_EQ(rfs_format_is_valid(missing.c_str()), -1);
    EXPECT_TRUE(log_.contains("open file " + missing + " failed"));
    std::ofstream(tmp_.file("short.img"), std::ios::binary) << std::string(300, 'Q');
    std::string cut = rfs_host::alias_disk(tmp_.file("short.img"));
    EXPECT_EQ(rfs_format_is_valid(cut.c_str()), -1);
    EXPECT_TRUE(log_.contains("write file " + cut + " failed"));
    EXPECT_EQ(rfs_add_disk(0, cut.c_str(), 0, 0, nullptr), -1);
}

TEST_F(DiskTest, SizeReportsSkipBadPartitionsAndRefuseBadIds) {
    rec::DiskShape shape = small_disk(2);
    shape.data_file_size = rec::kFile512M;
    std::string path = make_disk(shape, [](rec::Recorder &r) {
        r.record(0, rec::t("2026-03-01 10:00:00"), rec::t("2026-03-01 10:02:00"), rec::kTimed);
        r.set_partition_state(1, 2);
    });
    auto free_files = [&](int p) {
        Bytes n = read_file(real(), copy_pos(p, 0) + 6, 2);
        return uint32_t(n[0] | n[1] << 8);
    };
    ASSERT_LT(free_files(0), 4u);
    ASSERT_EQ(rfs_add_disk(2, path.c_str(), 0, 0, nullptr), 0);
    EXPECT_EQ(rfs_get_data_file_size(2), 0x20000000);
    uint32_t total = 0, free = 0;
    uint8_t fs = 0;
    EXPECT_EQ(rfs_get_disk_size(2, &total, &free, &fs), 0);
    EXPECT_EQ(std::tuple(total, free, fs), std::tuple(block_in(real()).total_size_mb(), 512 * free_files(0), uint8_t(3)));
    // The mount's free-space line counts every partition at 256 MB a file.
    EXPECT_TRUE(log_.contains("disk2 free size=" + std::to_string(256 * (free_files(0) + free_files(1))) + "MB"));
}
