// rfs demo from end to end, as a newcomer runs it.
#include <filesystem>

#include "cli_fixture.h"

TEST(CliDemo, PassesAndKeepsItsFilesInTheGivenFolder) {
    TempDir dir;
    std::string folder = dir.file("demo");
    RunResult r = run_rfs({"demo", folder});
    ASSERT_EQ(r.code, 0) << r.out << r.err;
    EXPECT_NE(r.out.find("PASS: the 701640 exported bytes"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("2026-03-01 09:00:00  2026-03-01 09:02:00"), std::string::npos) << r.out;
    // The month and the day of the demo disk: recordings on the 1st, 2nd and 4th, pictures and labels.
    EXPECT_NE(r.out.find("  2*  3   4*  5 "), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("  recordings: 1-2,4\n  pictures:   1-2\n  labels:     1\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("  motion    " + std::string(18, '.') + "#.#"), std::string::npos) << r.out;
    // The power-cut disk, repaired in memory only: its saved recording checks out.
    EXPECT_NE(r.out.find("  (closed by the repair)\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("PASS: the 200040 exported bytes"), std::string::npos) << r.out;
    for (const char *name : {"demo.img", "clip.bin", "power_loss.img", "saved.bin"})
        EXPECT_TRUE(std::filesystem::exists(folder + "/" + name)) << name;
    RunResult repair = run_rfs({"repair", folder + "/power_loss.img"});
    EXPECT_EQ(repair.code, 0);
    EXPECT_EQ(repair.out.find("nothing to repair"), std::string::npos) << "the demo wrote the power-cut disk";
}

TEST(CliDemo, RemovesItsTemporaryFolder) {
    TempDir tmp;
    RunResult r = run_rfs({"demo"}, {.tmpdir = tmp.path()});
    ASSERT_EQ(r.code, 0) << r.out << r.err;
    EXPECT_NE(r.out.find(tmp.path() + "/rfs-demo-"), std::string::npos) << r.out;
    EXPECT_TRUE(std::filesystem::is_empty(tmp.path()));
}
