// A recorder-made disk mounted in slot 0, and read sessions on its events.
// After mounting, one search over the whole year lists every event of every
// channel; read sessions take their events from that session's lists.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "recorder.h"
#include "rfs.h"
#include "support/temp_dir.h"

RfsDateTime dt(rec::PackedTime t);

class PlaybackTest : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    // Starts a disk; record on recorder() and then call mount().
    rec::Recorder &recorder(bool nas, uint64_t seed = 1);
    void mount();
    // One recording of channel chn on a fresh raw disk, mounted; its first event.
    const rec::EventTruth &record_one(int chn, const char *from, const char *to,
                                      const rec::RecordOptions &o = {});
    // The search's record of an event (the host's copy).
    RfsEvent listed(const rec::EventTruth &ev);
    // The search's own copy, which carries the covered mark.
    RfsEvent &search_copy(const RfsEvent &e);
    RfsEventKey key_of(const rec::EventTruth &ev);

    // Reads until the end of the event; the bytes the library marked as the
    // event's (after head_skip of each delivery).
    std::vector<uint8_t> read_to_end(int rd, int len);
    // The stored bytes [offset, offset + length) of an event's data file.
    std::vector<uint8_t> stored(const rec::EventTruth &ev, uint32_t offset, uint32_t length);

    bool nas_ = false;
    TempDir dir_;
    std::unique_ptr<rec::Recorder> rec_;
    int handle_ = -1;
};
