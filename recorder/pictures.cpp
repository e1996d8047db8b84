// Snapshots: picture files hold picture data upward from the media start
// (the picture-month block and its table lie below it, from 0x1000), and one
// 48-byte picture record per picture downward from the file end, with the
// "Pend" marker just below the newest record.
#include <algorithm>
#include <stdexcept>

#include "frames.h"
#include "geometry.h"
#include "writer.h"

namespace rec {

namespace {

uint64_t picture_salt(const PictureTruth& p) {
  return 0x5049435400000000ull ^ (uint64_t(p.partition) << 40) ^ (uint64_t(p.file_no) << 20) ^
         uint64_t(p.index);
}

// Pictures one file can take: its picture-month table, and the picture
// records that a repair finds by scanning the last 31 blocks of 32 records
// per MiB of file.
size_t max_pictures(const Geometry& g) {
  const size_t table = (g.media_start - kMotionAreaStart - kPicMonHeadSize) / kPicMonEntrySize;
  const size_t scanned = 31 * size_t{g.file_size >> 20} * 32 - 1;
  return std::min(table, scanned);
}

bool picture_fits(const DataFile& f, uint32_t bytes, const Geometry& g) {
  const uint64_t floor = uint64_t{f.index_low} - 2 * kPictureRecordSize;
  return f.pictures.size() < max_pictures(g) && f.data_end + uint64_t{bytes} <= floor;
}

}  // namespace

DataFile& Writer::picture_file(uint32_t bytes) {
  if (pic_file_ && picture_fits(*pic_file_, bytes, g_)) return *pic_file_;
  if (pic_file_) close_file(*pic_file_);
  pic_file_ = &take_free_file(FileType::Picture, 0);
  if (!picture_fits(*pic_file_, bytes, g_))
    throw std::invalid_argument("picture larger than a data file");
  return *pic_file_;
}

const PictureTruth& Writer::snapshot(int chn, PackedTime time, uint32_t bytes,
                                     const PictureOptions& o) {
  check_open();
  check_chn(chn);
  DataFile& f = picture_file(bytes);
  PictureTruth& p = pictures_.emplace_back();
  p.chn = chn;
  p.partition = f.part;
  p.file_no = f.file_no;
  p.index = static_cast<int>(f.pictures.size());
  p.time = time;
  p.offset = f.data_end;
  p.length = bytes;
  p.record_pos = f.index_low - static_cast<uint32_t>(kPictureRecordSize);
  p.opts = o;
  const std::vector<uint8_t> data = picture_bytes(p);
  if (!data.empty()) out_->write(f.loc(), p.offset, data.data(), data.size());
  f.data_end += bytes;
  f.index_low = p.record_pos;
  f.pictures.push_back(pictures_.size() - 1);
  uint8_t recs[2 * kPictureRecordSize];  // "Pend" below, the new record above it
  encode_pend(recs, f.data_end);
  encode_picture(recs + kPictureRecordSize, p);
  out_->write(f.loc(), p.record_pos - kPictureRecordSize, recs, sizeof recs);
  return p;
}

void Writer::close_picture_file() {
  check_open();
  if (pic_file_) close_file(*pic_file_);
  pic_file_ = nullptr;
}

std::vector<uint8_t> Writer::picture_bytes(const PictureTruth& p) const {
  std::vector<uint8_t> data(p.length);
  fill_payload(data.data(), data.size(), shape_.seed, picture_salt(p));
  return data;
}

}  // namespace rec
