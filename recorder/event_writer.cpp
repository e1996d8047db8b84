#include "event_writer.h"

#include "records.h"

namespace rec {

namespace {
constexpr size_t kMediaFlush = 8u << 20;
}

GopNeed gop_need(const RecordOptions& o, bool headers_only) {
  const uint64_t hdr = kFrameHeaderSize;
  const uint64_t key = hdr + (headers_only ? 0 : o.key_bytes);
  const uint64_t ref = o.ref_every > 0 ? ((hdr + (headers_only ? 0 : o.ref_bytes) + 7) & ~7ull) : 0;
  const uint64_t p = hdr + (headers_only ? 0 : o.p_bytes);
  GopNeed n;
  n.media = 2 * (key + ref) + (o.key_interval - 1 + o.tail_frames) * p;
  n.entries = 2;
  if (o.motion_step > 0)
    n.motion = static_cast<uint32_t>(o.key_interval / o.fps / o.motion_step + 3);
  return n;
}

bool has_room(const DataFile& f, const GopNeed& n, const Geometry& g) {
  const uint64_t index_floor = uint64_t{f.index_low} - kIframeEntrySize * (n.entries + 1);
  return f.data_end + n.media <= index_floor &&
         f.moarea_end + kMotionRecordSize * (n.motion + 1) <= g.motion_end;
}

EventWriter::EventWriter(Writer& w, DataFile& f, EventTruth& ev)
    : w_(w),
      g_(w.geometry()),
      f_(f),
      ev_(ev),
      need_(gop_need(ev.opts, w.shape().headers_only)),
      stream_(ev.opts, static_cast<uint16_t>(ev.chn), w.shape().seed, w.shape().headers_only,
              ev.data_start),
      keep_truth_(w.shape().keep_truth),
      media_pos_(ev.data_start),
      motion_pos_(ev.moarea_start),
      next_motion_(packed_to_unix(ev.start)) {}

void EventWriter::add_frame(uint32_t j, int64_t usec, bool key) {
  add_motion_until(usec / 1000000);
  KeyFrame kf;
  if (stream_.add(media_, j, usec, key, kf)) {
    kf.entry_pos = ev_.iframe_top - static_cast<uint32_t>(kIframeEntrySize * (ev_.kframes.size() + 1));
    ev_.kframes.push_back(kf);
    f_.index_low = kf.entry_pos;
  }
  ++ev_.frame_count;
  f_.data_end = stream_.next_offset();
  if (media_.size() >= kMediaFlush) flush();
}

void EventWriter::add_motion_until(int64_t second) {
  if (ev_.opts.motion_step <= 0) return;
  for (; next_motion_ <= second; next_motion_ += ev_.opts.motion_step) {
    const PackedTime t = unix_to_packed(next_motion_);
    const size_t at = motion_.size();
    motion_.resize(at + kMotionRecordSize);
    encode_motion(motion_.data() + at, t, motion_cells(ev_.chn, t).data());
    ev_.motion.push_back(t);
    f_.moarea_end += kMotionRecordSize;
  }
}

void EventWriter::flush() {
  if (!media_.empty()) w_.out().write(f_.loc(), media_pos_, media_.data(), media_.size());
  media_pos_ += static_cast<uint32_t>(media_.size());
  media_.clear();
  flush_entries();
  flush_motion();
}

// Writes the entries not yet on disk as one block, "Iend" at its bottom.
void EventWriter::flush_entries() {
  const size_t total = ev_.kframes.size();
  if (total == keys_written_) return;
  const size_t n = total - keys_written_;
  std::vector<uint8_t> block((n + 1) * kIframeEntrySize);
  encode_iend(block.data());
  for (size_t k = keys_written_; k < total; ++k)  // newest at the lowest address
    encode_iframe_entry(block.data() + (total - k) * kIframeEntrySize, ev_.kframes[k]);
  const uint32_t bottom = ev_.kframes.back().entry_pos - static_cast<uint32_t>(kIframeEntrySize);
  w_.out().write(f_.loc(), bottom, block.data(), block.size());
  keys_written_ = total;
}

// Writes the pending motion records followed by the "MoBitEnd" marker.
void EventWriter::flush_motion() {
  const size_t at = motion_.size();
  motion_.resize(at + kMotionRecordSize);
  encode_mobitend(motion_.data() + at);
  w_.out().write(f_.loc(), motion_pos_, motion_.data(), motion_.size());
  motion_pos_ += static_cast<uint32_t>(at);
  motion_.clear();
}

// data_size runs to the end of the last key frame, while readers also trim
// an event's data to the end of its newest key frame; the recorder closes
// every event on a key frame so both readings agree. Only tail_frames (for
// testing that trim) stores frames past it.
void EventWriter::close(int32_t closing) {
  flush();
  ev_.state = EventState::Closed;
  ev_.closing_frame = closing;
  ev_.end = ev_.kframes.back().time;
  ev_.stream_size = f_.data_end - ev_.data_start;
  ev_.data_size = ev_.stream_size;
  ev_.last_iframe_pos = f_.index_low;
  ev_.moarea_end = f_.moarea_end;
  finish_truth();
}

void EventWriter::cut(bool wrong_no) {
  flush();
  ev_.state = EventState::Writing;
  ev_.closing_frame = -1;
  ev_.end = ev_.start;
  ev_.stream_size = f_.data_end - ev_.data_start;
  ev_.data_size = 0;
  ev_.last_iframe_pos = ev_.iframe_top;
  ev_.moarea_end = ev_.moarea_start;
  if (wrong_no) ev_.stored_event_no = static_cast<uint16_t>(ev_.event_no + 1);
  finish_truth();
}

void EventWriter::finish_truth() {
  if (keep_truth_) return;
  ev_.kframes.clear();
  ev_.kframes.shrink_to_fit();
  ev_.motion.clear();
  ev_.motion.shrink_to_fit();
}

}  // namespace rec
