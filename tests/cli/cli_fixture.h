// Runs the built rfs tool on recorder-made disks and knows, from the
// recorder's truth, what it must print and export.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "json_reader.h"
#include "recorder.h"
#include "support/temp_dir.h"

struct RunResult {
    int code = -1;
    std::string out, err;
};

struct RunOptions {
    std::string tmpdir = {};    // TMPDIR for the tool's temporary files
    std::string shell = {};     // shell words run first, e.g. "ulimit -f 64;"
    std::string stdout_to = {}; // a file for standard output instead of RunResult::out
    std::string program = "rfs"; // or another tool built beside it: "rfs-mkdisk"
    bool terminal = false;       // standard output is a terminal (through script(1)); lines end "\r\n"
};

// Runs <build>/cli/rfs (next to this test's own build folder), or another
// program there, with `args`.
RunResult run_rfs(const std::vector<std::string> &args, const RunOptions &options = {});

// A digest of a disk: the data ranges of an image (holes skipped, so sparse
// images cost what they hold), or every file of a NAS folder with its name.
std::string disk_digest(const std::string &path);

std::vector<uint8_t> read_file(const std::string &path);
inline bool has(const std::string &text, const std::string &part) { return text.find(part) != std::string::npos; }
std::vector<int> ints(const rfs_json::Value &array);

// One recorder-made disk per test: a raw image or a NAS folder by the test
// parameter.
class RecorderDiskTest : public ::testing::TestWithParam<bool> {
  protected:
    bool nas() const { return GetParam(); }
    rec::Recorder &make_disk(int files_per_partition, bool headers_only = false);
    // rfs COMMAND DISK ARGS... --json, expecting exit `code`.
    rfs_json::Value json(std::vector<std::string> args, int code = 0);

    TempDir dir_;
    std::string disk_;
    std::unique_ptr<rec::Recorder> rec_;
};

rec::DiskShape disk_shape(int files_per_partition, bool nas = false, bool headers_only = false);
std::string raw_or_nas(const ::testing::TestParamInfo<bool> &info);

// A disk with a few channels and days, an event across midnight, one left
// out of searches (skip_flag 1).
class CliDiskTest : public RecorderDiskTest {
  protected:
    void SetUp() override;

    const rec::EventTruth &event(int chn, const std::string &start) const;
    // Stored bytes [offset, offset + length) of an event's data file.
    std::vector<uint8_t> stored(const rec::EventTruth &ev, uint32_t offset, size_t length) const;
    // What playback from the key frame at or before `at` delivers: the stream
    // from that key frame to the event's end.
    std::vector<uint8_t> playback(const rec::EventTruth &ev, const std::string &at) const;
    // The key frames only, from the same key frame on.
    std::vector<uint8_t> key_frames(const rec::EventTruth &ev, const std::string &at) const;
};
