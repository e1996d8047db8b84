// Command lines the tool cannot serve: a non-zero exit and a message that
// says what is wrong.
#include <filesystem>
#include <fstream>

#include "cli_fixture.h"

TEST(CliArgs, BadCommandLinesFailWithAMessage) {
    TempDir dir;
    std::string disk = dir.file("d.img"), other = dir.file("plain.txt");
    rec::Recorder(disk_shape(2), disk).finish();
    std::filesystem::create_directory(dir.file("folder"));
    std::ofstream(other) << "not a disk";
    const std::string at = "2026-03-01 10:00:00";
    struct Case { std::vector<std::string> args; int code; std::string message; } cases[] = {
        {{}, 2, "usage: rfs"},
        {{"frobnicate"}, 2, "unknown command 'frobnicate'"},
        {{"ls"}, 2, "no disk given"},
        {{"ls", disk, "--colour"}, 2, "unknown option '--colour'"},
        {{"ls", disk, "--from"}, 2, "option '--from' needs a value"},
        {{"ls", disk, "--from", "2026-02-30"}, 2, "bad time '2026-02-30'"},
        {{"ls", disk, "--from", "2026-03-01T10:00"}, 2, "bad time"},
        {{"ls", disk, "--index-copy", "4"}, 2, "bad index copy '4'"},
        {{"ls", disk, "--index-copy", "1", "--write"}, 2, "does not go with --write"},
        {{"ls", disk, "--from", "2026-03-02", "--to", "2026-03-01 10:00:00"}, 2, "--to is before --from"},
        {{"ls", disk, "--channel", "512"}, 2, "bad channel '512'"},
        {{"ls", disk, "--channel", "5-2"}, 2, "bad channel range '5-2'"},
        {{"ls", disk, "--type", "fast"}, 2, "unknown record type 'fast'"},
        {{"ls", disk, dir.file("folder")}, 2, "cannot mix NAS folders and raw images"},
        {{"export", disk, "--channel", "0", "--at", at}, 2, "option '-o' is required"},
        {{"export", disk, "-o", "x", "--at", at}, 2, "option '--channel' is required"},
        {{"export", disk, "--channel", "0,1", "--at", at, "-o", "x"}, 2, "export takes one channel"},
        {{"export", disk, "--channel", "0", "--at", at, "--from", at, "-o", "x"}, 2, "either --at TIME or"},
        {{"mkdisk", "only.json"}, 2, "give a scenario and either"},
        {{"mkdisk", dir.file("missing.json"), dir.file("x.img")}, 1, "cannot read"},
        {{"demo", "a", "b"}, 2, "at most one folder"},
        {{"info", dir.file("missing.img")}, 1, "missing.img: No such file or directory"},
        {{"info", other}, 1, "not an rfs disk: its disk parameter block (272 bytes at byte 128) cannot be read"},
        {{"info", dir.file("folder")}, 1, "folder: cannot open index0: No such file or directory"},
        {{"export", disk, "--channel", "0", "--at", at, "-o", dir.file("x.bin")}, 1, "no recording on channel 0 at " + at},
        {{"export", disk, "--channel", "0", "--from", at, "--to", at, "--first-keyframe", "-o", dir.file("x.bin")}, 1,
         "no key frame of channel 0 between " + at},
        {{"export", disk, "--channel", "0", "--at", at, "--first-keyframe", "-o", "x"}, 2, "--first-keyframe takes"},
        {{"motion", disk, "--channel", "0"}, 2, "option '--day' is required"},
        {{"motion", disk, "--channel", "0", "--day", "2026-03-01 10:00:00"}, 2, "bad day"},
        {{"motion", disk, "--channel", "0", "--day", "2026-03-01", "--gap", "-1"}, 2, "bad gap '-1'"},
        {{"repair", disk, "--index-copy", "1"}, 2, "unknown option '--index-copy'"},
        {{"calendar", disk, "--month", "2026-13"}, 2, "bad month '2026-13' (want YYYY-MM"},
        {{"calendar", disk, "--month", "2026-3"}, 2, "bad month '2026-3'"},
        {{"timeline", disk}, 2, "option '--day' is required"},
        {{"pics", disk, "--extract", disk}, 2, "it is not a folder"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.args));
        RunResult r = run_rfs(c.args);
        EXPECT_EQ(r.code, c.code);
        EXPECT_TRUE(has(r.err, c.message)) << r.err;
        EXPECT_FALSE(std::filesystem::exists(dir.file("x.bin"))) << "a failed export left its file";
    }
}

TEST(CliArgs, EveryCommandHasHelp) {
    for (const char *command : {"info", "ls", "export", "demo", "mkdisk", "repair", "motion", "calendar",
                                "timeline", "pics", "labels"}) {
        RunResult r = run_rfs({command, "--help"});
        EXPECT_EQ(r.code, 0) << command;
        EXPECT_EQ(r.out.rfind(std::string("usage: rfs ") + command, 0), 0u) << r.out;
    }
    RunResult version = run_rfs({"--version"});
    EXPECT_TRUE(version.code == 0 && version.out.rfind("rfs ", 0) == 0) << version.out;
}
