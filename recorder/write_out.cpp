// Writing the disk's tables when the recorder stops: the disk parameter
// block, the four index copies of every partition, the file-record copies at
// the head of the data files, the picture-month tables and the label area.
#include <algorithm>

#include "geometry.h"
#include "summary.h"
#include "writer.h"

namespace rec {

namespace {

EventFields event_fields(const EventTruth& ev, const Geometry& g) {
  EventFields e;
  e.writing = ev.state == EventState::Writing;
  e.removed = ev.state == EventState::Removed;
  e.start = ev.start;
  e.end = ev.end;
  e.data_start = ev.data_start;
  e.iframe_top = ev.iframe_top;
  e.type_mask = ev.type_mask;
  e.event_no = ev.stored_event_no;
  e.byte_a = ev.opts.stored_byte_a;
  e.byte_b = ev.opts.stored_byte_b;
  e.moarea_start = ev.moarea_start;
  e.aux_start = g.motion_end;  // the second header area stays empty
  e.aux_len = 0;
  e.data_size = ev.data_size;
  e.last_iframe_pos = ev.last_iframe_pos;
  e.skip_flag = ev.skip_flag;
  e.moarea_end = ev.moarea_end;
  return e;
}

}  // namespace

void Writer::write_out(bool clean) {
  for (int p = 0; p < shape_.partitions; ++p) write_index(p, clean);
  write_block();
  if (shape_.labels) write_labels();
  for (const IndexDamage& d : damage_)
    out_->write(Loc{Area::IndexCopy, d.part, d.copy}, d.offset, d.bytes.data(), d.bytes.size());
  done_ = true;
}

void Writer::write_block() {
  BlockFields b;
  b.total_size_mb = static_cast<uint32_t>(g_.total_bytes >> 20);
  b.part_count = static_cast<uint8_t>(shape_.partitions);
  b.cur_part = static_cast<uint8_t>(cur_part_);
  b.disk_state = disk_state_;
  b.fs_type = shape_.fs_type ? shape_.fs_type : (shape_.nas ? 7 : 3);
  b.file_table_off = g_.file_table_off;
  b.event_area_off = g_.event_area_off;
  b.label_area = static_cast<uint32_t>(g_.label_area);
  b.switch_a = shape_.switch_a;
  b.switch_b = shape_.switch_b;
  b.data_file_size = shape_.data_file_size;
  b.data_area_start = g_.data_area_start;
  for (int p = 0; p < shape_.partitions; ++p) {
    b.part_base[p] = g_.part_base[p];
    b.index_flags[p] = p < static_cast<int>(shape_.index_flags.size()) ? shape_.index_flags[p] : 0x0F;
  }
  b.index_copy_size = g_.index_copy_size;
  uint8_t block[kBlockSize];
  encode_block(b, block);
  for (int k = 0; k < 4; ++k) out_->write(Loc{Area::Block, 0, k}, 0, block, kBlockSize);
}

// One partition's index area as the recorder last wrote it. The repair flag
// marks a partition that still has files open when the power goes.
std::vector<uint8_t> Writer::index_area(int p, bool clean, std::vector<FileFields>& files) const {
  const PartitionState& ps = parts_[p];
  bool open_files = false;
  for (const DataFile& f : ps.files) {
    files.push_back(summarize_file(f, g_, events_, pictures_));
    open_files |= f.state == 1;
  }
  const uint8_t repair = ps.forced_repair >= 0 ? static_cast<uint8_t>(ps.forced_repair)
                                               : static_cast<uint8_t>(!clean && open_files);
  std::vector<uint8_t> area(g_.event_area_off + size_t{g_.event_table_size} * files.size());
  encode_partition(summarize_partition(files, ps.state, repair), area.data());
  for (size_t k = 0; k < files.size(); ++k) {
    encode_file(files[k], area.data() + g_.file_table_off + kFileInfoSize * k);
    uint8_t* table = area.data() + g_.event_area_off + size_t{g_.event_table_size} * k;
    for (size_t j = 0; j < ps.files[k].events.size(); ++j)
      encode_event(event_fields(events_[ps.files[k].events[j]], g_), table + kEventInfoSize * j);
  }
  return area;
}

// The index area, written whole into each of the four copies, and the file
// record copy at offset 0 of every used data file.
void Writer::write_index(int p, bool clean) {
  const PartitionState& ps = parts_[p];
  std::vector<FileFields> files;
  const std::vector<uint8_t> area = index_area(p, clean, files);
  for (int copy = 0; copy < 4; ++copy)
    out_->write_sparse(Loc{Area::IndexCopy, p, copy}, 0, area.data(), area.size());
  for (size_t k = 0; k < files.size(); ++k) {
    if (files[k].state == 0) continue;
    out_->write(ps.files[k].loc(), 0, area.data() + g_.file_table_off + kFileInfoSize * k,
                kFileInfoSize);
    if (files[k].type == FileType::Picture) write_picmon(ps.files[k]);
  }
}

// The picture-month block at 0x1000 of a picture file, its entry table right
// behind it; picture data starts at the media start, above the table.
void Writer::write_picmon(const DataFile& f) {
  const uint32_t table_off = kMotionAreaStart + kPicMonHeadSize;
  std::vector<uint8_t> buf(kPicMonHeadSize + kPicMonEntrySize * f.pictures.size());
  PackedTime first = 0, last = 0;
  for (size_t i = 0; i < f.pictures.size(); ++i) {
    const PictureTruth& p = pictures_[f.pictures[i]];
    encode_picmon_entry(buf.data() + kPicMonHeadSize + kPicMonEntrySize * i, p);
    if (first == 0 || p.time < first) first = p.time;
    last = std::max(last, p.time);
  }
  encode_picmon_head(buf.data(), static_cast<uint32_t>(f.pictures.size()), first, last, table_off);
  out_->write(f.loc(), kMotionAreaStart, buf.data(), buf.size());
}

}  // namespace rec
