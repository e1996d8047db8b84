// Shared set-up of the search tests: recorder-made disks mounted through the
// public calls on POSIX storage behind the counting wrapper, a request
// builder, and what a search should return according to the recorder.
#pragma once

#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "recorder.h"
#include "rfs.h"
#include "support/log_capture.h"
#include "support/temp_dir.h"

constexpr int kChannels = 8;

// A listed event: disk, partition, file, event, channel, start, end.
using Found = std::tuple<int, int, int, int, int, uint32_t, uint32_t>;
Found found_of(const RfsEvent &e);

struct Query {
    uint8_t search_type = 3, search_mode = 0;
    rec::PackedTime start = 0, end = 0;
    uint32_t channels = 0xFF; // bit c selects channel c
    int32_t chn_cnt = kChannels;
    uint64_t types = ~0ull;
    std::vector<uint64_t> integrated;
    uint32_t skip_zero_length = 0;
};
Query day(const std::string &date);
rec::PackedTime at(const std::string &text);

class SearchTest : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    // Records on a fresh disk (then finish()) and keeps what was written.
    void make_disk(const rec::DiskSpec &shape, const std::function<void(rec::Recorder &)> &live,
                   const std::string &name);
    // kind 1 or negative puts the disk in group half 32..63.
    void mount(int id, const std::string &name, int kind = 0, int group = 0);
    void poke(const std::string &name, uint64_t off, uint32_t value, int bytes);

    RfsSearchParam param(const Query &q);
    std::vector<Found> expected(const Query &q) const; // in the library's order
    int search(const Query &q, RfsEventList *merged = nullptr, int32_t num = 0);
    static std::vector<Found> listed(int h, int chn);
    static std::vector<Found> all_listed(int h); // every channel, by start then channel

    struct Disk {
        std::string name, alias;
        std::vector<rec::EventTruth> events;
        rec::Geometry geometry;
    };
    const Disk &disk(const std::string &name) const;

    TempDir tmp_;
    LogCapture log_;

  private:
    struct Mounted {
        int id, half;
        const rec::EventTruth *ev;
    };
    std::deque<Disk> disks_; // truth_ points into it
    std::vector<Mounted> truth_;
    std::vector<uint8_t> chn_bits_;
    std::vector<uint64_t> integrated_;
};
