#include "summary.h"

#include "geometry.h"

namespace rec {

namespace {

void widen(PackedTime& first, PackedTime& last, PackedTime start, PackedTime end) {
  if (first == 0 || (start != 0 && start < first)) first = start;
  if (end > last) last = end;
}

// Positions come from the last closed event, or from the event a repair
// removed when it was not the file's only one (with none left, the file
// keeps its empty positions).
void summarize_events(FileFields& r, const DataFile& f, const Geometry& g,
                      const std::deque<EventTruth>& events) {
  const EventTruth* last = nullptr;
  for (size_t i : f.events) {
    const EventTruth& ev = events[i];
    if (ev.state == EventState::Removed) {
      --r.event_nr;
      if (r.event_nr > 0) last = &ev;
    }
    if (ev.state != EventState::Closed) continue;
    last = &ev;
    if (ev.skip_flag == 1) continue;
    widen(r.start, r.end, ev.start, ev.end);
    add_to_day_map(r.day_map, ev.start, ev.type_mask);
  }
  if (!last) return;
  r.data_end = last->data_start + last->data_size;
  r.index_pos = last->last_iframe_pos;
  r.moarea_end = last->moarea_end;
  r.aux_end = g.motion_end;  // no event stores anything in the second header area
}

// The recorder counts every picture of the file; a repair counts only those
// not deleted, and sizes the record table by that count.
void summarize_pictures(FileFields& r, const DataFile& f, const Geometry& g,
                        const std::deque<PictureTruth>& pictures) {
  size_t counted = 0;
  for (size_t i : f.pictures) counted += !f.repaired || pictures[i].opts.status != 2;
  r.event_nr = static_cast<uint16_t>(counted);
  r.data_end = f.data_end;
  r.index_pos = g.file_size - static_cast<uint32_t>(kPictureRecordSize * counted);
  for (size_t i : f.pictures) {
    const PictureTruth& p = pictures[i];
    if (p.opts.status == 2) continue;  // deleted pictures stay out of the summary
    widen(r.start, r.end, p.time, p.time);
    add_to_day_map(r.day_map, p.time, p.opts.type_mask);
    add_to_chn_mask(r.pic_chn_mask, p.chn);
  }
}

}  // namespace

FileFields summarize_file(const DataFile& f, const Geometry& g,
                          const std::deque<EventTruth>& events,
                          const std::deque<PictureTruth>& pictures) {
  FileFields r;
  r.file_no = static_cast<uint16_t>(f.file_no);
  r.chn = f.chn;
  r.state = f.state;
  r.type = f.type;
  r.end_sequence = f.end_sequence;
  r.data_end = g.media_start;
  r.index_pos = g.file_size;
  r.moarea_end = kMotionAreaStart;
  r.aux_end = g.motion_end;
  if (f.state == 0) return r;
  if (f.type == FileType::Record) {
    r.event_nr = static_cast<uint16_t>(f.events.size());
    summarize_events(r, f, g, events);
  } else if (f.state == 2 || f.repaired) {
    summarize_pictures(r, f, g, pictures);
  }
  return r;
}

PartitionFields summarize_partition(const std::vector<FileFields>& files, uint8_t state,
                                    uint8_t repair_flag) {
  PartitionFields p;
  p.file_nr = static_cast<uint16_t>(files.size());
  p.part_state = state;
  p.repair_flag = repair_flag;
  for (const FileFields& f : files) {
    if (f.state == 0) ++p.free_file_nr;
    if (f.state == 0 || f.state == 3) continue;
    if (f.type == FileType::Record)
      widen(p.rec_start, p.rec_end, f.start, f.end);
    else
      widen(p.pic_start, p.pic_end, f.start, f.end);
  }
  return p;
}

}  // namespace rec
