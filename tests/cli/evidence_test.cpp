// The tool never destroys evidence and never hides it: outputs that would
// overwrite a disk, a device or an existing file are refused, and whatever a
// disk holds that the listing leaves out is said, with the option that
// recovers it.
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "cli_fixture.h"
#include "json_reader.h"

namespace fs = std::filesystem;

namespace {

struct Disks {
    TempDir dir;
    std::string raw = dir.file("disk.img"), nas = dir.file("nas");
    Disks() {
        rec::DiskShape shape;
        shape.files_per_partition = 2;
        rec::RecordOptions o;
        o.fps = 10;
        o.key_interval = 20;
        for (bool as_nas : {false, true}) {
            shape.nas = as_nas;
            rec::Recorder r(shape, as_nas ? nas : raw);
            r.record(0, rec::t("2026-03-01 08:00:00"), rec::t("2026-03-01 08:01:00"), rec::kTimed, o);
            r.finish();
        }
    }
};

std::vector<std::string> export_args(const std::string &disk, const std::string &out) {
    return {"export", disk, "--channel", "0", "--at", "2026-03-01 08:00:10", "-o", out};
}

bool has(const std::string &text, const std::string &part) { return text.find(part) != std::string::npos; }

std::vector<std::string> names_in(const std::string &dir) {
    std::vector<std::string> names;
    for (const auto &e : fs::directory_iterator(dir)) names.push_back(e.path().filename().string());
    return names;
}

} // namespace

TEST(CliEvidence, OutputsThatCouldHurtAreRefused) {
    Disks d;
    const std::string notes = d.dir.file("case_notes.txt"), link = d.dir.file("link.img");
    fs::create_symlink(d.raw, link);
    fs::create_directory(d.dir.file("folder"));
    const std::string here = __FILE__;
    const std::string scenario = here.substr(0, here.rfind("/tests/")) + "/recorder/scenarios/nas.json";
    struct Case {
        const char *name;
        std::vector<std::string> args;
        int code;
        const char *message;
        RunOptions run = {};
    } cases[] = {
        {"the disk itself", export_args(d.raw, d.raw), 2, "it is the disk"},
        {"a link to the disk", export_args(d.raw, link), 2, "it is the disk"},
        {"a file in the NAS folder", export_args(d.nas, d.nas + "/file0"), 2, "inside the NAS disk"},
        {"a new file in the NAS folder", export_args(d.nas, d.nas + "/clip.bin"), 2, "inside the NAS disk"},
        {"an existing file", export_args(d.raw, notes), 2, "it exists (--force replaces it)"},
        {"a device", export_args(d.raw, "/dev/null"), 2, "not a regular file"},
        {"a device, forced", [&] { auto a = export_args(d.raw, "/dev/null"); a.push_back("--force"); return a; }(), 2,
         "not a regular file"},
        {"a folder", export_args(d.raw, d.dir.file("folder")), 2, "it is a folder"},
        {"the disk, forced", [&] { auto a = export_args(d.raw, d.raw); a.push_back("--force"); return a; }(), 2,
         "it is the disk"},
        {"a failure in the middle", [&] { auto a = export_args(d.raw, notes); a.push_back("--force"); return a; }(), 1,
         "File too large", {.shell = "ulimit -f 64;"}},
        {"mkdisk over a disk", {"mkdisk", scenario, d.raw}, 2, "it exists (--force replaces it)"},
        {"mkdisk into a NAS disk", {"mkdisk", scenario, "--nas", d.nas}, 2, "the folder is not empty"},
        {"rfs-mkdisk over a disk", {scenario, d.raw}, 2, "it exists (--force replaces it)", {.program = "rfs-mkdisk"}},
        {"rfs-mkdisk into a NAS disk", {scenario, "--nas", d.nas}, 2, "not empty", {.program = "rfs-mkdisk"}},
        {"pictures into a NAS disk", {"pics", d.nas, "--extract", d.nas + "/pictures"}, 2, "inside the NAS disk"},
        {"standard output to a full device", export_args(d.raw, "-"), 1, "cannot write standard output",
         {.stdout_to = "/dev/full"}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        std::ofstream(notes) << "the examiner's notes";
        const std::string raw_before = disk_digest(d.raw), nas_before = disk_digest(d.nas);
        const auto files_before = names_in(d.dir.path());
        RunResult r = run_rfs(c.args, c.run);
        EXPECT_EQ(r.code, c.code) << r.err;
        EXPECT_TRUE(has(r.err, c.message)) << r.err;
        EXPECT_EQ(disk_digest(d.raw), raw_before);
        EXPECT_EQ(disk_digest(d.nas), nas_before);
        EXPECT_TRUE(read_file(notes) == std::vector<uint8_t>({'t', 'h', 'e', ' ', 'e', 'x', 'a', 'm', 'i', 'n', 'e', 'r',
                                                              '\'', 's', ' ', 'n', 'o', 't', 'e', 's'}));
        EXPECT_EQ(names_in(d.dir.path()), files_before) << "a temporary file was left behind";
        EXPECT_TRUE(fs::exists("/dev/null") && !fs::is_regular_file("/dev/null"));
    }
    // --force replaces an existing file, and only on success.
    RunResult forced = run_rfs([&] { auto a = export_args(d.raw, notes); a.push_back("--force"); return a; }());
    ASSERT_EQ(forced.code, 0) << forced.err;
    EXPECT_GT(fs::file_size(notes), 1000u);
}

TEST(CliEvidence, StandardOutputThatFailsExitsOne) {
    Disks d;
    for (std::vector<std::string> args : {std::vector<std::string>{"ls", d.raw}, {"info", d.raw, "--json"},
                                          {"ls", d.nas, "--json"}, {"--help"}}) {
        SCOPED_TRACE(testing::PrintToString(args));
        RunResult r = run_rfs(args, {.stdout_to = "/dev/full"});
        EXPECT_EQ(r.code, 1);
        EXPECT_TRUE(has(r.err, "cannot write standard output: No space left on device")) << r.err;
    }
}

namespace {

// A disk of two partitions, one event in each, plus one event the recorder
// flagged to leave out of searches.
std::unique_ptr<rec::Recorder> two_partitions(const std::string &path, bool nas) {
    rec::DiskShape shape;
    shape.files_per_partition = 2;
    shape.partitions = nas ? 1 : 2;
    shape.nas = nas;
    auto r = std::make_unique<rec::Recorder>(shape, path);
    rec::RecordOptions o, skipped;
    o.fps = skipped.fps = 10;
    o.key_interval = skipped.key_interval = 20;
    skipped.skip_flag = 1;
    r->record(0, rec::t("2026-03-01 08:00:00"), rec::t("2026-03-01 08:00:30"), rec::kTimed, o);
    r->record(0, rec::t("2026-03-01 08:10:00"), rec::t("2026-03-01 08:10:30"), rec::kTimed, skipped);
    if (!nas) r->use_partition(1);
    r->record(1, rec::t("2026-03-01 09:00:00"), rec::t("2026-03-01 09:00:30"), rec::kMotion, o);
    return r;
}

int listed(const RunResult &r) {
    if (r.code != 0) return -1;
    rfs_json::Value doc = rfs_json::Value::parse(r.out);
    return int(doc.at("events").size());
}

} // namespace

TEST(CliEvidence, WhatIsLeftOutIsSaidAndRecovered) {
    TempDir dir;
    const std::string raw = dir.file("disk.img"), nas = dir.file("nas");
    {
        auto r = two_partitions(raw, false);
        r->damage_index_copy(1, 0, 0, {0, 0, 0, 0}); // copy 0 of partition 1 loses its "Part" magic
        r->finish();
        two_partitions(nas, true)->finish();
    }
    const std::string split = dir.file("split.img");
    {
        auto r = two_partitions(split, false);
        r->damage_index_copy(0, 1, 20, {0x3f}); // the secondary's record end time differs from the primary's
        r->finish();
    }
    const std::string plain = dir.file("plain.img"), short_img = dir.file("short.img"), bad_block = dir.file("badnas");
    two_partitions(plain, false)->finish();
    two_partitions(bad_block, true)->finish();
    {
        std::fstream f(bad_block + "/index0", std::ios::in | std::ios::out | std::ios::binary);
        f.seekp(128 + 8); // a reserved word of the disk parameter block: only the check sum notices
        f.put('\x5a');
    }
    {
        std::vector<char> head(1 << 20); // the first megabyte of the image
        std::ifstream(plain, std::ios::binary).read(head.data(), std::streamsize(head.size()));
        std::ofstream(short_img, std::ios::binary).write(head.data(), std::streamsize(head.size()));
    }
    struct Case {
        const char *name;
        std::vector<std::string> args;
        int code;           // without --strict
        const char *kind;   // of the problem, "" for a refusal
        const char *warning;
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
        {"the same disk twice", {"ls", plain, dir.file("./plain.img")}, 2, "", "are the same disk", -1, {}, 0},
        {"a channel beyond the disk", {"ls", plain, "--channel", "1,99"}, 0, "channel",
         "channel 99: the disks hold no recordings of it at any time", 1, {}, 0},
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
            rfs_json::Value doc = rfs_json::Value::parse(r.out);
            ASSERT_GE(doc.at("problems").size(), 1u);
            EXPECT_EQ(doc.at("problems")[0].at("kind").str(), c.kind);
            args.push_back("--strict");
            EXPECT_EQ(run_rfs(args).code, 1);
        }
        if (!c.recover.empty()) {
            std::vector<std::string> again = c.args;
            again.insert(again.end(), c.recover.begin(), c.recover.end());
            again.push_back("--json");
            RunResult back = run_rfs(again);
            EXPECT_EQ(listed(back), c.recovered) << back.err;
            EXPECT_EQ(back.err, "");
        }
        EXPECT_EQ(disk_digest(c.args[1]), before);
    }
}

// A data file gone from a NAS folder is named; a disk name that is not UTF-8
// survives --json.
TEST(CliEvidence, MissingDataFilesAndOddNamesAreNamed) {
    TempDir dir;
    const std::string nas = dir.file("caf\xe9 nas");
    two_partitions(nas, true)->finish();
    std::filesystem::remove(nas + "/file0");
    RunResult ls = run_rfs({"ls", nas, "--json"});
    ASSERT_EQ(ls.code, 0) << ls.err;
    EXPECT_TRUE(has(ls.err, "cannot open the data file " + nas + "/file0: No such file or directory")) << ls.err;
    RunResult out = run_rfs({"export", nas, "--channel", "0", "--at", "2026-03-01 08:00:10", "-o", dir.file("c.bin")});
    EXPECT_EQ(out.code, 1);
    EXPECT_TRUE(has(out.err, "cannot open the data file " + nas + "/file0")) << out.err;
    RunResult info = run_rfs({"info", nas, "--json"});
    ASSERT_EQ(info.code, 0) << info.err;
    rfs_json::Value doc = rfs_json::Value::parse(info.out);
    EXPECT_EQ(doc.at("disks")[0].at("path").str(), nas);
}

// A range export refuses to interleave the events of two disks in one file.
TEST(CliEvidence, OverlappingEventsOfTwoDisksAreNotInterleaved) {
    TempDir dir;
    const std::string a = dir.file("a.img"), b = dir.file("b.img");
    two_partitions(a, false)->finish();
    two_partitions(b, false)->finish();
    RunResult both = run_rfs({"export", a, b, "--channel", "0", "--from", "2026-03-01", "--to", "2026-03-01", "-o",
                              dir.file("both.bin")});
    EXPECT_EQ(both.code, 1);
    EXPECT_TRUE(has(both.err, "overlap in time and would interleave in one file")) << both.err;
    EXPECT_FALSE(std::filesystem::exists(dir.file("both.bin")));
    RunResult one = run_rfs({"export", a, "--channel", "0", "--from", "2026-03-01", "--to", "2026-03-01", "-o", "-"});
    EXPECT_EQ(one.code, 0) << one.err;
}
