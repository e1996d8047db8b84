// The tool never destroys evidence and never hides it: outputs that would
// overwrite a disk, a device or an existing file are refused, and whatever a
// disk holds that the listing leaves out is said, with the option that
// recovers it.
#include <filesystem>
#include <fstream>
#include <set>

#include "cli_fixture.h"

namespace fs = std::filesystem;
using rfs_json::Value;

namespace {

// A disk of two partitions (a NAS disk: one), one event in each, plus one
// event the recorder flagged to leave out of searches.
std::unique_ptr<rec::Recorder> two_partitions(const std::string &path, bool nas) {
    rec::DiskShape shape = disk_shape(2, nas);
    shape.partitions = nas ? 1 : 2;
    auto r = std::make_unique<rec::Recorder>(shape, path);
    rec::RecordOptions o{.fps = 10, .key_interval = 20}, skipped = o;
    skipped.skip_flag = 1;
    r->record(0, rec::t("2026-03-01 08:00:00"), rec::t("2026-03-01 08:00:30"), rec::kTimed, o);
    r->record(0, rec::t("2026-03-01 08:10:00"), rec::t("2026-03-01 08:10:30"), rec::kTimed, skipped);
    if (!nas) r->use_partition(1);
    r->record(1, rec::t("2026-03-01 09:00:00"), rec::t("2026-03-01 09:00:30"), rec::kMotion, o);
    return r;
}

std::vector<std::string> export_args(const std::string &disk, const std::string &out, bool force = false) {
    std::vector<std::string> args = {"export", disk, "--channel", "0", "--at", "2026-03-01 08:00:10", "-o", out};
    if (force) args.push_back("--force");
    return args;
}

std::set<std::string> names_in(const std::string &dir) {
    std::set<std::string> names;
    for (const auto &e : fs::directory_iterator(dir)) names.insert(e.path().filename().string());
    return names;
}

} // namespace

TEST(CliEvidence, OutputsThatCouldHurtAreRefused) {
    TempDir dir;
    const std::string raw = dir.file("disk.img"), other = dir.file("other.img"), nas = dir.file("nas");
    const std::string notes = dir.file("case_notes.txt");
    for (const std::string &disk : {raw, other}) two_partitions(disk, false)->finish();
    two_partitions(nas, true)->finish();
    fs::create_symlink(raw, dir.file("link.img"));
    fs::create_directory(dir.file("folder"));
    const std::string here = __FILE__;
    const std::string scenario = here.substr(0, here.rfind("/tests/")) + "/recorder/scenarios/nas.json";
    const char *full = "cannot write standard output: No space left on device";
    struct Case {
        const char *name;
        std::vector<std::string> args;
        int code;
        const char *message;
        RunOptions run = {};
    } cases[] = {
        {"the disk itself", export_args(raw, raw), 2, "it is the disk"},
        {"a link to the disk", export_args(raw, dir.file("link.img")), 2, "it is the disk"},
        {"the disk, forced", export_args(raw, raw, true), 2, "it is the disk"},
        {"a file in the NAS folder", export_args(nas, nas + "/file0"), 2, "inside the NAS disk"},
        {"a new file in the NAS folder", export_args(nas, nas + "/clip.bin"), 2, "inside the NAS disk"},
        {"an existing file", export_args(raw, notes), 2, "it exists (--force replaces it)"},
        {"a device", export_args(raw, "/dev/null"), 2, "not a regular file"},
        {"a device, forced", export_args(raw, "/dev/null", true), 2, "not a regular file"},
        {"a folder", export_args(raw, dir.file("folder")), 2, "it is a folder"},
        {"a failure in the middle", export_args(raw, notes, true), 1, "File too large", {.shell = "ulimit -f 64;"}},
        {"mkdisk over a disk", {"mkdisk", scenario, raw}, 2, "it exists (--force replaces it)"},
        {"mkdisk into a NAS disk", {"mkdisk", scenario, "--nas", nas}, 2, "the folder is not empty"},
        {"rfs-mkdisk over a disk", {scenario, raw}, 2, "it exists (--force replaces it)", {.program = "rfs-mkdisk"}},
        {"pictures into a NAS disk", {"pics", nas, "--extract", nas + "/pictures"}, 2, "inside the NAS disk"},
        {"an export to a full device", export_args(raw, "-"), 1, full, {.stdout_to = "/dev/full"}},
        {"a listing to a full device", {"ls", nas, "--json"}, 1, full, {.stdout_to = "/dev/full"}},
        {"help to a full device", {"--help"}, 1, full, {.stdout_to = "/dev/full"}},
        {"events of two disks that would interleave", {"export", raw, other, "--channel", "0", "--from", "2026-03-01",
         "--to", "2026-03-01", "-o", dir.file("both.bin")}, 1, "overlap in time and would interleave in one file"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        std::ofstream(notes) << "the examiner's notes";
        const std::string raw_before = disk_digest(raw), nas_before = disk_digest(nas), notes_before = disk_digest(notes);
        const auto files_before = names_in(dir.path());
        RunResult r = run_rfs(c.args, c.run);
        EXPECT_EQ(r.code, c.code) << r.err;
        EXPECT_TRUE(has(r.err, c.message)) << r.err;
        EXPECT_EQ(disk_digest(raw), raw_before);
        EXPECT_EQ(disk_digest(nas), nas_before);
        EXPECT_EQ(disk_digest(notes), notes_before);
        EXPECT_EQ(names_in(dir.path()), files_before) << "a temporary file was left behind";
        EXPECT_TRUE(fs::exists("/dev/null") && !fs::is_regular_file("/dev/null"));
    }
    // --force replaces an existing file, and only on success.
    RunResult forced = run_rfs(export_args(raw, notes, true));
    ASSERT_EQ(forced.code, 0) << forced.err;
    EXPECT_GT(fs::file_size(notes), 1000u);
}

TEST(CliEvidence, WhatIsLeftOutIsSaidAndRecovered) {
    TempDir dir;
    const std::string raw = dir.file("disk.img"), nas = dir.file("nas"), split = dir.file("split.img");
    const std::string plain = dir.file("plain.img"), short_img = dir.file("short.img"), bad_block = dir.file("badnas");
    const std::string odd = dir.file("caf\xe9 nas"); // a name that is not UTF-8, and a data file gone
    auto damaged = two_partitions(raw, false);
    damaged->damage_index_copy(1, 0, 0, {0, 0, 0, 0}); // copy 0 of partition 1 loses its "Part" magic
    damaged->finish();
    auto disagreeing = two_partitions(split, false);
    disagreeing->damage_index_copy(0, 1, 20, {0x3f}); // the secondary's record end time differs from the primary's
    disagreeing->finish();
    for (const std::string &path : {nas, bad_block, odd}) two_partitions(path, true)->finish();
    two_partitions(plain, false)->finish();
    fs::remove(odd + "/file0");
    std::fstream(bad_block + "/index0", std::ios::in | std::ios::out | std::ios::binary).seekp(128 + 8).put('\x5a'); // a reserved word: only the check sum notices
    std::vector<char> head(1 << 20); // the first megabyte of the image
    std::ifstream(plain, std::ios::binary).read(head.data(), std::streamsize(head.size()));
    std::ofstream(short_img, std::ios::binary).write(head.data(), std::streamsize(head.size()));
    struct Case {
        const char *name;
        std::vector<std::string> args;
        int code;           // without --strict
        const char *kind;   // of the problem, "" for a refusal
        std::string warning;
        int events;         // listed
        std::vector<std::string> recover; // options that bring everything back
        int recovered;
    } cases[] = {
        {"copy 0 damaged", {"ls", raw}, 0, "partition", "partition 1 is unusable: the partition record of its primary index "
         "copy 0 has no 'Part' magic; nothing of it is listed; index copy 1 looks intact: --index-copy 1 reads it", 1,
         {"--index-copy", "1", "--all"}, 3},
        {"NAS index0 block damaged", {"ls", bad_block}, 1, "", "the disk parameter block of index0 is not valid "
         "(not valid rfs format, check_sum:", -1, {"--index-copy", "1", "--all"}, 3},
        {"secondary copy disagrees", {"ls", split}, 0, "index_copy",
         "partition 0: its secondary index copy 1 disagrees with the primary index copy 0", 2, {}, 0},
        {"truncated image", {"ls", short_img}, 0, "disk", "is 1048576 bytes, but its parameter block says", 0, {}, 0},
        {"skip-flagged event", {"ls", nas}, 0, "skipped_events",
         "1 event the recorder flagged to leave out of searches is not listed (--all lists them)", 2, {"--all"}, 3},
        {"a data file gone", {"ls", odd}, 0, "data_file",
         "cannot open the data file " + odd + "/file0: No such file or directory", 2, {}, 0},
        {"the same disk twice", {"ls", plain, dir.file("./plain.img")}, 2, "", "are the same disk", -1, {}, 0},
        {"a channel beyond the disk", {"ls", plain, "--channel", "1,99"}, 0, "channel",
         "channel 99: the disks hold no recordings of it at any time", 1, {}, 0},
    };
    auto listed = [](const RunResult &r) {
        if (r.code != 0) return -1;
        const Value doc = Value::parse(r.out);
        return int(doc.at("events").size());
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        const std::string before = disk_digest(c.args[1]);
        std::vector<std::string> args = c.args;
        args.push_back("--json");
        RunResult r = run_rfs(args);
        EXPECT_EQ(r.code, c.code) << r.err;
        EXPECT_TRUE(has(r.err, c.warning)) << r.err;
        EXPECT_EQ(listed(r), c.events);
        // Only the tool's own lines: the library's prints and perror lines
        // (a truncated image makes some) show with --verbose only.
        for (size_t at = 0; at < r.err.size(); at = r.err.find('\n', at) + 1)
            EXPECT_EQ(r.err.compare(at, 7, "rfs ls:"), 0) << r.err;
        if (*c.kind) {
            Value doc = Value::parse(r.out);
            std::string kinds;
            for (const Value &p : doc.at("problems").items()) kinds += p.at("kind").str() + " ";
            EXPECT_TRUE(has(kinds, std::string(c.kind) + " ")) << kinds;
        }
        if (!c.recover.empty()) {
            args = c.args;
            args.insert(args.end(), c.recover.begin(), c.recover.end());
            args.push_back("--json");
            RunResult back = run_rfs(args);
            EXPECT_EQ(listed(back), c.recovered) << back.err;
            EXPECT_EQ(back.err, "");
        }
        EXPECT_EQ(disk_digest(c.args[1]), before);
    }
    // The odd name survives --json, and an export that needs the missing data file fails.
    const Value info = Value::parse(run_rfs({"info", odd, "--json"}).out);
    EXPECT_EQ(info.at("disks")[0].at("path").str(), odd);
    RunResult out = run_rfs(export_args(odd, dir.file("c.bin")));
    EXPECT_EQ(out.code, 1);
    EXPECT_TRUE(has(out.err, "cannot open the data file " + odd + "/file0")) << out.err;
}
