// The format check and the size reports of the disk parameter block.
#include <cstdio>
#include <fstream>

#include "disk_fixture.h"
#include "rfs.h"

namespace {

std::string hex(uint32_t v) {
    char s[16];
    std::snprintf(s, sizeof s, "%#x", v);
    return s;
}

std::string find_message(const LogCapture &log, const std::string &start) {
    for (const std::string &m : log.messages())
        if (m.rfind(start, 0) == 0) return m;
    return "";
}

} // namespace

TEST_F(DiskTest, FormatCheckTableLogsTheExactLine) {
    std::string path = make_disk(small_disk());
    const rfs::DiskParamBlock good = block_in(real());
    const std::string ok_tail = ",magic:1936091985==1936091985, version:(5/1)-(5/1)\n";
    struct Case {
        const char *what;
        size_t off;
        std::vector<uint8_t> bytes;
        bool fix_sum;
        int want;
        std::string tail; // the line after the check-sum part
    };
    const Case cases[] = {
        {"untouched", 0, {}, false, 0, ""},
        {"wrong magic", 3, {'t'}, true, -1, ",magic:1952869201!=1936091985, version:(5/1)-(5/1)\n"},
        {"versions swapped", 16, {5, 0, 1, 0}, true, -1,
         ",magic:1936091985==1936091985, version:(1/5)-(5/1)\n"},
        {"stale check sum", 268, {0x5A}, false, -1, ok_tail},
        {"reserved byte 230", 230, {0xA5}, false, -1, ok_tail},
        {"odd data-file size passes", 64, le32(0x30000000), true, 0, ""},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        write_file(real(), 128, {good.bytes, good.bytes + good.kSize});
        if (!c.bytes.empty()) patch_block(real(), c.off, c.bytes, c.fix_sum);
        const rfs::DiskParamBlock b = block_in(real());
        log_.clear();
        EXPECT_EQ(rfs_format_is_valid(path.c_str()), c.want);
        std::string line = find_message(log_, "not valid rfs format");
        if (c.want == 0) {
            EXPECT_EQ(line, "");
            continue;
        }
        uint32_t sum = xor_sum(b);
        std::string head = "not valid rfs format, check_sum:" + hex(b.check_sum()) +
                           (sum == b.check_sum() ? "=" : "!") + "=" + hex(sum);
        EXPECT_EQ(line, head + c.tail);
        EXPECT_TRUE(log_.contains("ret = -1"));
    }
}

TEST_F(DiskTest, FormatCheckRefusesMissingAndTruncatedDisks) {
    std::string missing = alias(tmp_.file("absent.img"));
    EXPECT_EQ(rfs_format_is_valid(missing.c_str()), -1);
    EXPECT_TRUE(log_.contains("open file " + missing + " failed"));

    std::ofstream(tmp_.file("short.img"), std::ios::binary) << std::string(300, 'Q');
    std::string cut = alias(tmp_.file("short.img"));
    EXPECT_EQ(rfs_format_is_valid(cut.c_str()), -1);
    EXPECT_TRUE(log_.contains("write file " + cut + " failed"));
    EXPECT_EQ(rfs_add_disk(0, cut.c_str(), 0, 0, nullptr), -1);
    EXPECT_EQ(rfs_format_is_valid(nullptr), RFS_ERR_NULL);
}

TEST_F(DiskTest, SizeReportsSkipBadPartitionsAndRefuseBadIds) {
    rec::DiskSpec shape = small_disk(2);
    shape.files_per_partition = 6;
    shape.data_file_size = rec::kFile512M;
    std::string path = make_disk(shape, [](rec::Recorder &r) {
        r.record(0, rec::t("2026-03-01 10:00:00"), rec::t("2026-03-01 10:02:00"), rec::kTimed);
        r.set_partition_state(1, 2);
        return true;
    });
    auto free_files = [&](int p) {
        std::vector<uint8_t> rec = read_file(real(), copy_pos(p, 0), 40);
        return uint32_t(rec[6] | rec[7] << 8);
    };
    ASSERT_LT(free_files(0), 6u);
    ASSERT_EQ(rfs_add_disk(2, path.c_str(), 0, 0, nullptr), 0);
    EXPECT_EQ(rfs_get_data_file_size(2), 0x20000000);
    uint32_t total = 0, free = 0;
    uint8_t fs = 0;
    EXPECT_EQ(rfs_get_disk_size(2, &total, &free, &fs), 0);
    EXPECT_EQ(free, 512 * free_files(0));
    EXPECT_EQ(total, block_in(real()).total_size_mb());
    EXPECT_EQ(fs, 3);
    // The mount's free-space line counts every partition at 256 MB a file.
    EXPECT_TRUE(log_.contains("disk2 free size=" +
                              std::to_string(256 * (free_files(0) + free_files(1))) + "MB"));
    for (int id : {32, 3, -1}) {
        SCOPED_TRACE(id);
        EXPECT_EQ(rfs_get_data_file_size(id), -1);
        EXPECT_EQ(rfs_get_disk_size(id, &total, &free, &fs), -1);
    }
}
