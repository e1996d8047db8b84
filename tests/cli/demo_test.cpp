// rfs demo from end to end, as a newcomer runs it.
#include <filesystem>

#include "cli_fixture.h"

namespace {

int temp_demo_folders() {
    int n = 0;
    for (const auto &entry : std::filesystem::directory_iterator(std::filesystem::temp_directory_path()))
        n += entry.path().filename().string().rfind("rfs-demo-", 0) == 0;
    return n;
}

} // namespace

TEST(CliDemo, PassesAndKeepsItsFilesInTheGivenFolder) {
    TempDir dir;
    std::string folder = dir.file("demo");
    RunResult r = run_rfs({"demo", folder});
    ASSERT_EQ(r.code, 0) << r.out << r.err;
    EXPECT_NE(r.out.find("PASS"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("2026-03-01 09:00:00  2026-03-01 09:02:00"), std::string::npos) << r.out;
    EXPECT_TRUE(std::filesystem::exists(folder + "/demo.img"));
    EXPECT_GT(std::filesystem::file_size(folder + "/clip.bin"), 0u);

    // What the demo exported, the export command exports again.
    RunResult again = run_rfs({"export", folder + "/demo.img", "--channel", "1", "--at", "2026-03-01 09:01:07",
                               "-o", dir.file("again.bin")});
    ASSERT_EQ(again.code, 0) << again.err;
    EXPECT_TRUE(read_file(dir.file("again.bin")) == read_file(folder + "/clip.bin"));
}

TEST(CliDemo, RemovesItsTemporaryFolder) {
    int before = temp_demo_folders();
    RunResult r = run_rfs({"demo"});
    ASSERT_EQ(r.code, 0) << r.out << r.err;
    EXPECT_EQ(temp_demo_folders(), before);
}
