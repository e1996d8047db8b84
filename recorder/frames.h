// The frames of a recording: which frame is a key frame, what each frame
// looks like byte for byte, and the motion cells the recorder reports.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "recorder.h"

namespace rec {

// A stored event's frames are frames first_frame.. of its recording's
// timeline; frame n of the timeline is stamped origin_usec + n * 10^6 / fps.
// Within the event (frame j = 0, 1, ...) a key frame opens every GOP
// (j % key_interval == 0) and frame `closing` closes the event as a key
// frame; frames after `closing` are 'P' frames (the tail).
struct FrameSchedule {
  int64_t origin_usec = 0;
  uint32_t first_frame = 0;
  int32_t closing = -1;  // -1: the event was cut before its closing key frame
  bool is_key(uint32_t j, int key_interval) const;
  int64_t usec(uint32_t j, int fps) const;
};

// Builds an event's stored stream one frame at a time.
class StreamBuilder {
 public:
  StreamBuilder(const RecordOptions& o, uint16_t chn, uint64_t seed, bool headers_only,
                uint32_t data_start);

  // Appends frame j (stamped `usec`) to `out`; `key` frames get their
  // reference frame first when one is due. Returns true when a key frame was
  // added and fills `kf` (entry_pos is left to the caller).
  bool add(std::vector<uint8_t>& out, uint32_t j, int64_t usec, bool key, KeyFrame& kf);

  // Bytes the next key frame would take with its reference frame, if due.
  uint32_t key_cost() const;
  uint32_t p_cost() const { return frame_len(opts_.p_bytes); }
  uint32_t next_offset() const { return next_; }

 private:
  uint32_t frame_len(uint32_t payload) const;
  void add_frame(std::vector<uint8_t>& out, char type, int64_t usec, uint32_t payload);

  RecordOptions opts_;
  uint16_t chn_;
  uint64_t seed_;
  bool headers_only_;
  uint32_t next_;          // data-file offset of the next frame
  int keys_ = 0;           // key frames added so far
  uint32_t ref_offset_ = 0, ref_length_ = 0;
};

// The whole stored stream of an event, rebuilt from its schedule.
std::vector<uint8_t> rebuild_stream(const EventTruth& ev, uint64_t seed, bool headers_only);

// Deterministic payload bytes of a frame or picture.
void fill_payload(uint8_t* out, size_t len, uint64_t seed, uint64_t salt);

}  // namespace rec
