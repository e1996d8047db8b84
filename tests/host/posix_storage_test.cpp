#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>

#include "disk_alias.h"
#include "files.h"
#include "posix_storage.h"
#include "support/temp_dir.h"

using namespace rfs_host;

TEST(PosixStorage, TranslatesOpenFlagsAndNeverCreates) {
    const int ro = O_RDONLY | O_CLOEXEC, wo = O_WRONLY | O_CLOEXEC, rw = O_RDWR | O_CLOEXEC;
    const std::pair<int, int> table[] = {
        {0x0000, ro}, {0x0001, wo}, {0x0002, rw}, {0x8000, ro}, {0x8001, wo}, {0x8002, rw},
        {0x0003, -1}, {0x0102, -1}, {0x0200, -1}, {0x0008, -1}, {-1, -1}, // create, truncate, append
    };
    for (auto [rfs_flags, os_flags] : table) EXPECT_EQ(posix_open_flags(rfs_flags), os_flags) << rfs_flags;

    TempDir dir;
    for (auto [flags, err] : {std::pair{0x8002, ENOENT}, {0x0102, EINVAL}}) {
        EXPECT_EQ(posix_open(dir.file("missing").c_str(), flags), -1);
        EXPECT_EQ(errno, err);
    }
    EXPECT_FALSE(std::filesystem::exists(dir.file("missing")));
}

TEST(PosixStorage, MovesBytesAtOffsetsAboveFourGiB) {
    TempDir dir;
    std::string path = dir.file("sparse.img");
    make_file(path, {});
    constexpr int64_t kSize = (6LL << 30) + 4096;
    ASSERT_EQ(::truncate(path.c_str(), kSize), 0);
    int fd = posix_open(path.c_str(), RFS_O_RDWR | RFS_O_BINARY);
    ASSERT_GE(fd, 0);
    const auto data = pattern(10000, 3);
    for (int64_t off : {int64_t(4LL << 30) - 100, int64_t(5LL << 30), kSize - 10000}) {
        EXPECT_EQ(posix_write(fd, data.data(), 10000, off), 10000);
        std::vector<uint8_t> back(10000);
        EXPECT_EQ(posix_read(fd, back.data(), 10000, off), 10000);
        EXPECT_EQ(back, data);
        EXPECT_EQ(file_bytes(path, off, 10000), data);
    }
    std::vector<uint8_t> buf(8192);
    EXPECT_EQ(posix_read(fd, buf.data(), 8192, kSize - 100), 100); // short at the end
    EXPECT_EQ(posix_read(fd, buf.data(), 8192, kSize + 1), 0);
    EXPECT_EQ(posix_sync(fd), 0);
    EXPECT_EQ(posix_close(fd), 0);
    EXPECT_EQ(posix_read(fd, buf.data(), 16, 0), -1); // the system's own error
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(std::filesystem::file_size(path), uint64_t(kSize));
}

TEST(DiskAlias, ShortNamesMapBackToTheRealPaths) {
    clear_aliases();
    TempDir dir;
    const std::string deep = dir.path() + "/" + std::string(80, 'n');
    std::filesystem::create_directory(deep);
    EXPECT_EQ(alias_disk(dir.file("a.img")), "/rfs/d0");
    EXPECT_EQ(alias_disk(deep), "/rfs/d1");
    EXPECT_EQ(alias_disk(deep + "/"), "/rfs/d1");
    EXPECT_EQ(alias_disk(dir.path() + "/./x/../a.img"), "/rfs/d0");
    for (int i = 2; i <= 10; ++i) alias_disk(dir.file(std::to_string(i)));
    const std::pair<std::string, std::string> table[] = {
        {"/rfs/d0", dir.file("a.img")}, {"/rfs/d1/file12", deep + "/file12"},
        {"/rfs/d10", dir.file("10")},   {"/rfs/d11", "/rfs/d11"}, // not (yet) an alias
        {"/rfs/d01", "/rfs/d01"},       {"/rfs/d1x/index0", "/rfs/d1x/index0"},
        {"/rfs/d", "/rfs/d"},           {"x/rfs/d0", "x/rfs/d0"},
    };
    for (const auto &[path, real] : table) EXPECT_EQ(resolve_alias(path), real) << path;

    make_file(deep + "/file3", pattern(64, 9));
    int fd = posix_open("/rfs/d1/file3", RFS_O_RDONLY);
    std::vector<uint8_t> back(64);
    EXPECT_EQ(posix_read(fd, back.data(), 64, 0), 64);
    EXPECT_EQ(back, pattern(64, 9));
    posix_close(fd);
    clear_aliases();
    EXPECT_EQ(resolve_alias("/rfs/d0"), "/rfs/d0");
}
