// What a mount's repair makes of a power-cut disk, worked out from what the
// recorder knows it wrote rather than from the bytes on the disk.
#include "writer.h"

#include <algorithm>

#include "geometry.h"
#include "summary.h"

namespace rec {

namespace {

// The event being written when the power went: closed at its newest key
// frame, or removed when no key frame reached the disk. The motion records
// written up to the cut stay with it.
void close_interrupted(EventTruth& ev) {
  ev.stored_event_no = static_cast<uint16_t>(ev.event_no);
  if (ev.kframes.empty()) {
    ev.state = EventState::Removed;
    return;
  }
  const KeyFrame& k = ev.kframes.back();
  ev.state = EventState::Closed;
  ev.end = k.time;
  ev.data_size = k.offset + k.length - ev.data_start;
  ev.last_iframe_pos = k.entry_pos;
  ev.moarea_end = ev.moarea_start + static_cast<uint32_t>(kMotionRecordSize * ev.motion.size());
  ev.skip_flag = 0;
}

}  // namespace

void Writer::repair_partition(int p) {
  PartitionState& ps = parts_[p];
  uint32_t seq = 0;
  for (const DataFile& f : ps.files)
    if (f.end_sequence != kOpenSequence) seq = std::max(seq, f.end_sequence);
  for (DataFile& f : ps.files) {
    if (f.type != FileType::Record || f.state != 1) continue;
    if (!f.events.empty() && events_[f.events.back()].state == EventState::Writing)
      close_interrupted(events_[f.events.back()]);
    f.state = 4;
    f.end_sequence = ++seq;
    f.repaired = true;
  }
  for (DataFile& f : ps.files) {
    if (f.type != FileType::Picture || f.end_sequence != kOpenSequence || f.state == 0) continue;
    f.end_sequence = ++seq;
    f.repaired = true;
  }
  ps.forced_repair = 0;
}

// The repair writes the two lowest usable copies, and the head copy of each
// record file it closed (not of a picture file).
void Writer::write_repaired(int p) {
  const PartitionState& ps = parts_[p];
  std::vector<FileFields> files;
  const std::vector<uint8_t> area = index_area(p, false, files);
  const uint8_t flags = p < static_cast<int>(shape_.index_flags.size()) ? shape_.index_flags[p] : 0x0F;
  for (int copy = 0, written = 0; copy < 4 && written < 2; ++copy) {
    if (!(flags & (1 << copy))) continue;
    out_->write(Loc{Area::IndexCopy, p, copy}, 0, area.data(), area.size());
    ++written;
  }
  for (size_t k = 0; k < files.size(); ++k)
    if (ps.files[k].repaired && ps.files[k].type == FileType::Record)
      out_->write(ps.files[k].loc(), 0, area.data() + g_.file_table_off + kFileInfoSize * k,
                  kFileInfoSize);
}

void Writer::power_loss_repaired() {
  check_open();
  write_out(false);
  for (int p = 0; p < shape_.partitions; ++p) {
    if (parts_[p].forced_repair == 0) continue;  // a flag forced off: no repair runs
    bool open_files = false;
    for (const DataFile& f : parts_[p].files) open_files |= f.state == 1;
    if (!open_files && parts_[p].forced_repair != 1) continue;
    if (parts_[p].state >= 2) continue;  // a bad partition is not repaired
    repair_partition(p);
    write_repaired(p);
  }
}

}  // namespace rec
