// The tool leaves a disk as it found it unless --write is given: repairs of a
// power-cut disk stay in memory.
#include <filesystem>

#include "cli_fixture.h"
#include "json_reader.h"

namespace {

// The small files of a NAS disk, where the library's repairs land.
std::vector<std::vector<uint8_t>> index_files(const std::string &dir) {
    std::vector<std::vector<uint8_t>> files;
    for (const char *name : {"index0", "index1", "index2", "index3", "label0"}) files.push_back(read_file(dir + "/" + name));
    return files;
}

} // namespace

TEST(CliWrite, RepairsReachTheDiskOnlyWithWrite) {
    TempDir dir;
    rec::DiskShape shape;
    shape.nas = true;
    shape.files_per_partition = 4;
    std::string disk = dir.file("nas");
    {
        rec::Recorder r(shape, disk);
        rec::RecordOptions o;
        o.fps = 10;
        o.key_interval = 20;
        r.record(0, rec::t("2026-03-01 10:00:00"), rec::t("2026-03-01 10:00:30"), rec::kMotion, o);
        r.record_interrupted(1, rec::t("2026-03-01 10:01:00"), rec::t("2026-03-01 10:01:17"), rec::kMotion, o,
                             rec::Cut::KeyFramesWritten);
        r.power_loss();
    }
    const auto before = index_files(disk);
    for (const char *command : {"info", "ls"}) {
        RunResult r = run_rfs({command, disk, "--json"});
        ASSERT_EQ(r.code, 0) << r.err;
        EXPECT_TRUE(index_files(disk) == before) << command << " wrote to the disk";
    }
    RunResult r = run_rfs({"info", disk, "--json", "--write"});
    ASSERT_EQ(r.code, 0) << r.err;
    auto doc = rfs_json::Value::parse(r.out);
    EXPECT_TRUE(doc.at("repairs_written").boolean());
    EXPECT_EQ(doc.at("repaired_bytes").get<uint64_t>() != 0, index_files(disk) != before);
}
