// Recordings: a channel's frames go into its open record file, event by event.
#include <climits>
#include <stdexcept>

#include "event_writer.h"
#include "geometry.h"
#include "writer.h"

namespace rec {

namespace {

constexpr PackedTime kMonthMask = 0xFFC00000;  // year and month of a packed time

void check_options(const RecordOptions& o) {
  if (o.fps < 1 || o.fps > 1000000 || o.key_interval < 1 || o.ref_every < 0 ||
      o.motion_step < 0 || o.tail_frames < 0)
    throw std::invalid_argument("bad recording options");
}

}  // namespace

// The channel's open file if the next event fits; otherwise the file is
// closed and the next free one taken. A file holds one month: its day map
// has no month of its own, so the recorder starts a new file when the month
// changes.
DataFile* Writer::record_file(int chn, PackedTime start, const RecordOptions& o) {
  const GopNeed need = gop_need(o, spec_.headers_only);
  const size_t max_events = g_.event_table_size / kEventInfoSize;
  auto it = chan_file_.find(chn);
  if (it != chan_file_.end()) {
    DataFile* f = it->second;
    if (f->month == (start & kMonthMask) && f->events.size() < max_events &&
        has_room(*f, need, g_))
      return f;
    close_file(*f);
    chan_file_.erase(it);
  }
  DataFile& f = take_free_file(FileType::Record, static_cast<uint16_t>(chn));
  f.month = start & kMonthMask;
  chan_file_[chn] = &f;
  if (!has_room(f, need, g_))
    throw std::invalid_argument("one GOP of these options does not fit into a data file");
  return &f;
}

namespace {

void start_event(EventTruth& ev, const DataFile& f, int chn, PackedTime start,
                 uint64_t type_mask, const RecordOptions& o) {
  ev.chn = chn;
  ev.partition = f.part;
  ev.file_no = f.file_no;
  ev.event_no = static_cast<int>(f.events.size()) + 1;
  ev.stored_event_no = static_cast<uint16_t>(ev.event_no);
  ev.start = start;
  ev.type_mask = type_mask;
  ev.skip_flag = o.skip_flag;
  ev.data_start = f.data_end;
  ev.iframe_top = f.index_low;
  ev.moarea_start = f.moarea_end;
  ev.opts = o;
}

}  // namespace

// Writes frames 0..last_frame of a recording starting at `start`. Each time
// a data file cannot take another GOP the current frame becomes the event's
// closing key frame and the recording goes on with the next frame as a new
// event in a new file. With `cut` the final event is left as the power cut
// found it instead of being closed.
std::vector<const EventTruth*> Writer::record_span(int chn, PackedTime start, int64_t last_frame,
                                                   uint64_t type_mask, const RecordOptions& o,
                                                   Cut* cut) {
  const int64_t origin = packed_to_unix(start) * 1000000;
  std::vector<const EventTruth*> made;
  int64_t n = 0;
  do {
    const int64_t usec0 = origin + n * 1000000 / o.fps;
    DataFile* f = record_file(chn, unix_to_packed(usec0 / 1000000), o);
    EventTruth& ev = new_event();
    start_event(ev, *f, chn, unix_to_packed(usec0 / 1000000), type_mask, o);
    ev.origin_usec = origin;
    ev.first_frame = static_cast<uint32_t>(n);
    f->events.push_back(event_count() - 1);
    made.push_back(&ev);
    EventWriter ew(*this, *f, ev);
    bool split = false;
    uint32_t j = 0;
    for (; n <= last_frame; ++n, ++j) {
      const bool natural_last = n == last_frame && !cut;
      const bool gop_start = j % o.key_interval == 0;
      if (gop_start && j > 0 && !natural_last && !ew.room_for_gop()) {
        ew.add_frame(j, origin + n * 1000000 / o.fps, true);
        ew.close(static_cast<int32_t>(j));
        ++n;
        split = true;
        break;
      }
      ew.add_frame(j, origin + n * 1000000 / o.fps, gop_start || natural_last);
      chan_last_usec_[chn] = origin + n * 1000000 / o.fps;
    }
    if (split) {
      close_file(*f);
      chan_file_.erase(chn);
      continue;
    }
    if (cut) {
      ew.cut(*cut == Cut::WrongEventNo);
      break;
    }
    for (int t = 1; t <= o.tail_frames; ++t) {
      chan_last_usec_[chn] = origin + (last_frame + t) * 1000000 / o.fps;
      ew.add_frame(j + t - 1, chan_last_usec_[chn], false);
    }
    ew.close(static_cast<int32_t>(j - 1));
  } while (n <= last_frame);
  return made;
}

std::vector<const EventTruth*> Writer::record(int chn, PackedTime start, PackedTime end,
                                              uint64_t type_mask, const RecordOptions& o) {
  check_open();
  check_chn(chn);
  check_options(o);
  const int64_t secs = packed_to_unix(end) - packed_to_unix(start);
  if (secs < 0) throw std::invalid_argument("recording ends before it starts");
  auto last = chan_last_usec_.find(chn);
  if (last != chan_last_usec_.end() && packed_to_unix(start) * 1000000 <= last->second)
    throw std::invalid_argument("recordings of a channel must not overlap or go back");
  return record_span(chn, start, secs * o.fps, type_mask, o, nullptr);
}

const EventTruth& Writer::record_interrupted(int chn, PackedTime start, PackedTime until,
                                             uint64_t type_mask, const RecordOptions& o,
                                             Cut how) {
  if (how == Cut::EventClosed) return *record(chn, start, until, type_mask, o).back();
  check_open();
  check_chn(chn);
  check_options(o);
  const int64_t secs = packed_to_unix(until) - packed_to_unix(start);
  if (secs < 0) throw std::invalid_argument("the cut comes before the start");
  const int64_t last_frame = how == Cut::NoKeyFrameYet ? -1 : secs * o.fps;
  interrupted_ = true;
  auto made = record_span(chn, start, last_frame, type_mask, o, &how);
  chan_last_usec_[chn] = INT64_MAX;  // the channel stopped with the power: nothing follows

  return *made.back();
}

}  // namespace rec
