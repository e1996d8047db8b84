// Shared set-up of the search tests: recorder-made disks mounted through the
// public calls on POSIX storage behind the counting wrapper, a search request
// builder, and the list of events a search should return, computed from the
// recorder's own account of what it wrote.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "recorder.h"
#include "rfs.h"
#include "support/log_capture.h"
#include "support/temp_dir.h"

constexpr int kChannels = 8;

// A stored event as a search reports it (and as the truth predicts it).
struct Found {
    int disk, partition, file, event, chn;
    uint32_t start, end;
    bool operator==(const Found &) const = default;
};
std::ostream &operator<<(std::ostream &os, const Found &f);

// A recorded event together with the disk slot it was mounted in.
struct Truth {
    int disk;
    int group_half;
    rec::EventTruth ev;
};

struct Query {
    uint8_t search_type = 3;
    uint8_t search_mode = 0;
    rec::PackedTime start = 0, end = 0;
    uint32_t channels = 0xFF; // bit c selects channel c
    int32_t chn_cnt = kChannels;
    uint64_t types = ~0ull;
    std::vector<uint64_t> integrated;
    uint32_t skip_zero_length = 0;
};

class SearchTest : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    // Records on a fresh disk (finish() is called for it) and keeps the truth.
    std::string make_disk(const rec::DiskSpec &spec, const std::function<void(rec::Recorder &)> &live,
                          const std::string &name);
    // Mounts a disk made by make_disk: kind 1 puts it in group half 32..63.
    void mount(int id, const std::string &name, int kind = 0, int group = 0);

    RfsSearchParam param(const Query &q);
    // What the search should find, in the library's order (start, channel).
    std::vector<Found> expected(const Query &q) const;
    // Runs a search; handle or negative code.
    int search(const Query &q, RfsEventList *merged = nullptr, int32_t num = 0);
    // Channel chn's list of session h as Found records.
    static std::vector<Found> listed(int h, int chn);
    static std::vector<Found> all_listed(int h); // every channel, merged by (start, channel)

    TempDir tmp_;
    LogCapture log_;
    std::vector<Truth> truth_;
    std::vector<uint8_t> chn_bits_;
    std::vector<uint64_t> integrated_;

  private:
    struct Disk {
        std::string name, alias;
        std::vector<rec::EventTruth> events;
        rec::Geometry geometry;
    };
    std::vector<Disk> disks_;

  protected:
    const Disk &disk(const std::string &name) const;
    // Overwrites bytes of a raw image outside the library.
    void poke(const std::string &name, uint64_t off, const std::vector<uint8_t> &bytes);
};

rec::PackedTime at(const std::string &text); // rec::t with a shorter name
Found found_of(const RfsEvent &e);
