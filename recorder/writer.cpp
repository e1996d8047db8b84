#include "writer.h"

#include <stdexcept>

#include "geometry.h"

namespace rec {

Writer::Writer(const DiskShape& shape, std::unique_ptr<Output> out, MemoryOutput* mem)
    : shape_(shape), g_(make_geometry(shape)), out_(std::move(out)), mem_(mem) {
  parts_.resize(shape.partitions);
  for (int p = 0; p < shape.partitions; ++p) {
    auto& files = parts_[p].files;
    files.resize(shape.files_per_partition);
    for (int n = 0; n < shape.files_per_partition; ++n) {
      files[n].part = p;
      files[n].file_no = n + 1;
    }
  }
}

void Writer::check_open() const {
  if (done_) throw std::logic_error("the recorder has already shut down");
}

void Writer::check_chn(int chn) const {
  if (chn < 0 || chn > 0xFFFF) throw std::invalid_argument("channel out of range");
}

void Writer::use_partition(int p) {
  check_open();
  if (p < 0 || p >= shape_.partitions) throw std::invalid_argument("no such partition");
  cur_part_ = p;
}

void Writer::set_partition_state(int p, uint8_t s) {
  check_open();
  parts_.at(p).state = s;
}

void Writer::set_repair_flag(int p, bool on) {
  check_open();
  parts_.at(p).forced_repair = on ? 1 : 0;
}

void Writer::damage_index_copy(int p, int k, uint32_t off, const std::vector<uint8_t>& bytes) {
  check_open();
  if (p < 0 || p >= shape_.partitions || k < 0 || k > 3 ||
      uint64_t{off} + bytes.size() > g_.index_copy_size)
    throw std::invalid_argument("damage outside the index copies");
  damage_.push_back(IndexDamage{p, k, off, bytes});
}

// The recorder takes the lowest free file of the current partition and moves
// on to the next partition (wrapping) when that one is full. A fresh file
// starts with its end markers: a record file with "Iend" in the last
// key-frame slot and "MoBitEnd" at the start of the motion area, a picture
// file with "Pend" in the last picture-record slot.
DataFile& Writer::take_free_file(FileType type, uint16_t chn) {
  for (int i = 0; i < shape_.partitions; ++i) {
    const int p = (cur_part_ + i) % shape_.partitions;
    for (DataFile& f : parts_[p].files) {
      if (f.state != 0) continue;
      cur_part_ = p;
      f.state = 1;
      f.type = type;
      f.chn = chn;
      f.end_sequence = kOpenSequence;
      f.data_end = g_.media_start;
      f.moarea_end = kMotionAreaStart;
      f.index_low = g_.file_size;
      uint8_t marker[kMotionRecordSize];
      if (type == FileType::Record) {
        encode_mobitend(marker);
        out_->write(f.loc(), kMotionAreaStart, marker, kMotionRecordSize);
        encode_iend(marker);
        out_->write(f.loc(), g_.file_size - kIframeEntrySize, marker, kIframeEntrySize);
      } else {
        encode_pend(marker, f.data_end);
        out_->write(f.loc(), g_.file_size - kPictureRecordSize, marker, kPictureRecordSize);
      }
      return f;
    }
  }
  throw std::runtime_error("the disk is full: no free data file left");
}

void Writer::close_file(DataFile& f) {
  f.state = 2;
  f.end_sequence = ++sequence_;
}

void Writer::finish() {
  check_open();
  if (interrupted_) throw std::logic_error("an interrupted event needs power_loss(), not finish()");
  for (auto& [chn, f] : chan_file_) close_file(*f);
  chan_file_.clear();
  if (pic_file_) close_file(*pic_file_);
  pic_file_ = nullptr;
  write_out(true);
}

void Writer::power_loss() {
  check_open();
  write_out(false);
}

void Writer::replay(Output& to) const {
  if (!mem_) throw std::logic_error("only an in-memory recorder can be written out");
  if (!done_) throw std::logic_error("finish() or power_loss() first");
  mem_->replay(to);
}

}  // namespace rec
