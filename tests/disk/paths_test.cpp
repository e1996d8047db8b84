// Data-file addresses, composed names and the dropped-disk rule.
#include <cerrno>

#include "disk/paths.h"
#include "disk_fixture.h"
#include "frame/storage.h"

TEST(DataFileAddr, StrideAndBaseFollowTheStoredSize) {
    struct Case { uint32_t size, start; int n; int64_t want; };
    for (Case c : {Case{0, 0, 2, 0x20000000 + 2 * 0x10000000ll},       // 0 means 256 MB
                   Case{0x30000000, 0x100000, 1, 0x10100000},           // an odd size too
                   Case{0x40000000, 0x200000, 65535, 65535ll * 0x40000000 + 0x200000}}) {
        rfs::DiskParamBlock b;
        rfs::store_le32(b.bytes + rfs::DiskParamBlock::kDataFileSize, c.size);
        rfs::store_le32(b.bytes + rfs::DiskParamBlock::kDataAreaStart, c.start);
        EXPECT_EQ(rfs::data_file_addr(&b, c.n), c.want) << std::hex << c.size << " " << c.n;
    }
}

TEST_F(DiskTest, NasNamesAndTheDroppedDiskRule) {
    std::string path = make_disk(small_disk(1, true));
    rfs_set_nas_mode(1);
    for (int k = 0; k < 3; ++k) std::remove((real() + "/index" + std::to_string(k)).c_str());
    rfs::FdGuard any(rfs::open_index_file(path.c_str(), RFS_O_RDONLY, -1));
    EXPECT_GE(any.get(), 0);
    EXPECT_EQ(rfs::open_index_file(path.c_str(), RFS_O_RDONLY, 4), -1);
    EXPECT_TRUE(log_.contains("pindex out of range"));
    // A name that does not fit its buffer is refused, never cut short.
    EXPECT_EQ(rfs::open_data_file(std::string(60, 'x').c_str(), RFS_O_RDONLY, 12), -1);
    EXPECT_EQ(errno, ENAMETOOLONG);
    EXPECT_EQ(rfs_format_is_valid(path.c_str()), 0); // the block of index3

    struct Case { const char *path; int err; bool nas, raw; };
    for (Case c : {Case{"/rfs", EIO, true, true}, Case{nullptr, 0, true, true},
                   Case{"/rfs/d0", EIO, true, false}, Case{"/rfs/d0", ENOENT, false, false},
                   Case{"/rfs/d0", EHOSTDOWN, true, false}}) {
        for (bool nas : {true, false}) {
            rfs_set_nas_mode(nas);
            EXPECT_EQ(rfs::is_disk_dropped(c.path, c.err), nas ? c.nas : c.raw) << (c.path ? c.path : "null") << nas;
        }
    }
}
