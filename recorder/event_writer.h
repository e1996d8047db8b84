// Writes one stored event into its data file: frames upward from data_start,
// one key-frame index entry per key frame downward from iframe_top with the
// "Iend" marker just below the newest, motion records upward from
// moarea_start with "MoBitEnd" just after the last.
#pragma once

#include <cstdint>
#include <vector>

#include "frames.h"
#include "writer.h"

namespace rec {

// Worst-case room one GOP takes, with a closing key frame and the tail
// behind it, so an event can always be closed where it stands.
struct GopNeed {
  uint64_t media = 0;
  uint32_t entries = 0;
  uint32_t motion = 0;
};
GopNeed gop_need(const RecordOptions& o, bool headers_only);
bool has_room(const DataFile& f, const GopNeed& n, const Geometry& g);

class EventWriter {
 public:
  EventWriter(Writer& w, DataFile& f, EventTruth& ev);

  // Appends event frame j, stamped usec, with the motion records due by then.
  void add_frame(uint32_t j, int64_t usec, bool key);
  bool room_for_gop() const { return has_room(f_, need_, g_); }
  // Closes the event ("Even") with frame `closing` as its closing key frame.
  void close(int32_t closing);
  // Leaves the event as the power cut found it ("EvWr"), stored fields as
  // they were at its start; `wrong_no` stores a disagreeing event_no.
  void cut(bool wrong_no);

 private:
  void add_motion_until(int64_t second);
  void flush();
  void flush_entries();
  void flush_motion();
  void finish_truth();

  Writer& w_;
  const Geometry& g_;
  DataFile& f_;
  EventTruth& ev_;
  GopNeed need_;
  StreamBuilder stream_;
  bool keep_truth_;
  std::vector<uint8_t> media_;
  uint32_t media_pos_;
  size_t keys_written_ = 0;  // key-frame entries already on disk
  std::vector<uint8_t> motion_;
  uint32_t motion_pos_;
  int64_t next_motion_ = 0;  // second of the next motion record
};

}  // namespace rec
