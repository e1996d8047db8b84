// Runs the built rfs tool on recorder-made disks and knows, from the
// recorder's truth, what it must print and export.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

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

// A digest of a disk: every byte of an image (holes skipped, so sparse
// images cost what they hold), or every file of a NAS folder with its name.
std::string disk_digest(const std::string &path);

std::vector<uint8_t> read_file(const std::string &path);

// A disk with a few channels and days: plain key frames and key frames with
// reference frames, an event across midnight, one left out of searches
// (skip_flag 1). Raw image or NAS folder by the test parameter.
class CliDiskTest : public ::testing::TestWithParam<bool> {
  protected:
    void SetUp() override;
    bool nas() const { return GetParam(); }

    const rec::EventTruth &event(int chn, const std::string &start) const;
    // Stored bytes [offset, offset + length) of an event's data file.
    std::vector<uint8_t> stored(const rec::EventTruth &ev, uint32_t offset, size_t length) const;
    // What playback from the key frame at or before `at` delivers to the
    // event's end: the reference frame first (padded to 8 bytes), then the
    // stream from the key frame.
    std::vector<uint8_t> playback(const rec::EventTruth &ev, const std::string &at) const;
    // Key frames only from the same key frame on, each reference frame once,
    // before the first key frame that needs it.
    std::vector<uint8_t> key_frames(const rec::EventTruth &ev, const std::string &at) const;

    TempDir dir_;
    std::string disk_;
    std::unique_ptr<rec::Recorder> rec_;
};
