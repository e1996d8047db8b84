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
  const GopNeed need = gop_need(o, shape_.headers_only);
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

namespace {

// Frame n of a recording is stamped origin + n * 10^6 / fps microseconds.
struct Timeline {
  int64_t origin;
  int fps;
  int64_t usec(int64_t n) const { return origin + n * 1000000 / fps; }
  PackedTime time(int64_t n) const { return unix_to_packed(usec(n) / 1000000); }
};

// Writes frames n..last_frame into one event. When the file cannot take the
// next GOP, that GOP's key frame closes the event instead and true is
// returned; n is then the first frame still to be written.
bool fill_event(EventWriter& ew, const Timeline& tl, int64_t& n, int64_t last_frame,
                bool natural_end, int key_interval) {
  for (uint32_t j = 0; n <= last_frame; ++n, ++j) {
    const bool closing = natural_end && n == last_frame;
    const bool gop_start = j % static_cast<uint32_t>(key_interval) == 0;
    if (gop_start && j > 0 && !closing && !ew.room_for_gop()) {
      ew.add_frame(j, tl.usec(n), true);
      ew.close(static_cast<int32_t>(j));
      ++n;
      return true;
    }
    ew.add_frame(j, tl.usec(n), gop_start || closing);
  }
  return false;
}

}  // namespace

// Writes frames 0..last_frame of a recording starting at `start`, as one
// event or, when data files fill up, as several (see fill_event). The last
// event gets its tail frames and is closed on its closing key frame, or with
// `cut` is left as the power cut found it.
std::vector<const EventTruth*> Writer::record_span(int chn, PackedTime start, int64_t last_frame,
                                                   uint64_t type_mask, const RecordOptions& o,
                                                   Cut* cut) {
  const Timeline tl{packed_to_unix(start) * 1000000, o.fps};
  std::vector<const EventTruth*> made;
  for (int64_t n = 0;;) {
    DataFile* f = record_file(chn, tl.time(n), o);
    EventTruth& ev = new_event();
    start_event(ev, *f, chn, tl.time(n), type_mask, o);
    ev.origin_usec = tl.origin;
    ev.first_frame = static_cast<uint32_t>(n);
    f->events.push_back(event_count() - 1);
    made.push_back(&ev);
    EventWriter ew(*this, *f, ev);
    const uint32_t first = static_cast<uint32_t>(n);
    if (fill_event(ew, tl, n, last_frame, !cut, o.key_interval)) {
      close_file(*f);
      chan_file_.erase(chn);
      continue;
    }
    const uint32_t frames = static_cast<uint32_t>(n) - first;
    chan_last_usec_[chn] = tl.usec(last_frame + o.tail_frames);
    if (cut) {
      ew.cut(*cut == Cut::WrongEventNo);
    } else {
      for (int t = 1; t <= o.tail_frames; ++t)
        ew.add_frame(frames + t - 1, tl.usec(last_frame + t), false);
      ew.close(static_cast<int32_t>(frames) - 1);
    }
    return made;
  }
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
