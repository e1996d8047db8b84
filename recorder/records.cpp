#include "records.h"

#include <algorithm>
#include <cstring>

#include "le.h"

namespace rec {

void encode_block(const BlockFields& f, uint8_t* out) {
  std::memset(out, 0, kBlockSize);
  put_tag(out, "Qkfs");
  put_u32(out + 4, f.total_size_mb);
  put_u8(out + 12, f.part_count);
  put_u8(out + 13, f.cur_part);
  put_u8(out + 14, f.disk_state);
  put_u8(out + 15, f.fs_type);
  put_u16(out + 16, 1);  // version 5.1: minor first
  put_u16(out + 18, 5);
  put_u32(out + 20, f.file_table_off);
  put_u32(out + 24, f.event_area_off);
  put_u32(out + 32, f.label_area);
  put_u32(out + 56, f.switch_a);
  put_u32(out + 60, f.switch_b);
  put_u32(out + 64, f.data_file_size);
  put_u32(out + 68, f.data_area_start);
  for (int p = 0; p < 16; ++p) {
    put_u64(out + 72 + 8 * p, f.part_base[p]);
    put_u8(out + 200 + p, f.index_flags[p]);
  }
  put_u32(out + 216, f.index_copy_size);
  uint32_t sum = 0;
  for (size_t off = 0; off < 268; off += 4) sum ^= get_u32(out + off);
  put_u32(out + 268, sum);
}

void encode_partition(const PartitionFields& f, uint8_t* out) {
  std::memset(out, 0, kPartitionSize);
  put_tag(out, "Part");
  put_u16(out + 4, f.file_nr);
  put_u16(out + 6, f.free_file_nr);
  put_u8(out + 10, f.part_state);
  put_u8(out + 11, f.repair_flag);
  put_u32(out + 16, f.rec_start);
  put_u32(out + 20, f.rec_end);
  put_u32(out + 24, f.pic_start);
  put_u32(out + 28, f.pic_end);
}

void encode_file(const FileFields& f, uint8_t* out) {
  std::memset(out, 0, kFileInfoSize);
  put_tag(out, "File");
  put_u16(out + 4, f.file_no);
  put_u16(out + 6, f.event_nr);
  put_u16(out + 8, f.chn);
  put_u8(out + 10, f.state);
  put_u8(out + 11, static_cast<uint8_t>(f.type));
  put_u32(out + 16, f.start);
  put_u32(out + 20, f.end);
  put_u32(out + 24, f.end_sequence);
  put_u32(out + 28, f.data_end);
  put_u32(out + 32, f.index_pos);
  for (int j = 0; j < 64; ++j) put_u32(out + 40 + 4 * j, f.day_map[j]);
  put_u32(out + 296, f.moarea_end);
  put_u64(out + 304, f.pic_chn_mask[0]);
  put_u64(out + 312, f.pic_chn_mask[1]);
  put_u32(out + 320, f.aux_end);
}

namespace {

// 1 << (x mod 32) as a signed 32-bit value, widened with its sign.
uint64_t shifted_bit(int x) {
  return static_cast<uint64_t>(static_cast<int64_t>(static_cast<int32_t>(1u << (x % 32))));
}

}  // namespace

void add_to_day_map(std::array<uint32_t, 64>& map, PackedTime start, uint64_t type_mask) {
  const uint32_t day = (start >> 17) & 31;
  const uint32_t day_bit = 1u << ((day + 31) % 32);  // day 0 lands on bit 31
  for (int b = 0; b < 64; ++b)
    if (type_mask & shifted_bit(b)) map[b] |= day_bit;
}

void add_to_chn_mask(std::array<uint64_t, 2>& mask, int chn) {
  if (chn < 64)
    mask[0] |= shifted_bit(chn);
  else
    mask[1] |= shifted_bit(chn - 64);
}

void encode_event(const EventFields& f, uint8_t* out) {
  std::memset(out, 0, kEventInfoSize);
  if (!f.removed) put_tag(out, f.writing ? "EvWr" : "Even");
  put_u32(out + 4, f.start);
  put_u32(out + 8, f.data_start);
  put_u32(out + 12, f.iframe_top);
  put_u64(out + 16, f.type_mask);
  put_u16(out + 24, f.event_no);
  put_u8(out + 26, f.byte_a);
  put_u8(out + 27, f.byte_b);
  put_u32(out + 28, f.moarea_start);
  put_u32(out + 32, f.aux_start);
  put_u32(out + 36, f.aux_len);
  put_u32(out + 40, f.end);
  put_u32(out + 44, f.data_size);
  put_u32(out + 48, f.last_iframe_pos);
  put_u8(out + 52, f.skip_flag);
  put_u32(out + 56, f.moarea_end);
}

void encode_frame_header(uint8_t* out, char type, int64_t usec, uint32_t length, uint16_t chn) {
  std::memset(out, 0, kFrameHeaderSize);
  put_tag(out, "QKFm");
  put_u8(out + 4, static_cast<uint8_t>(type));
  put_u32(out + 8, length);
  put_u16(out + 12, chn);
  put_u64(out + 16, static_cast<uint64_t>(usec));
}

void encode_iframe_entry(uint8_t* out, const KeyFrame& k) {
  std::memset(out, 0, kIframeEntrySize);
  put_u32(out + 4, k.time);
  put_u32(out + 8, k.offset);
  put_u32(out + 12, k.length);
  put_u32(out + 16, k.ref_offset);
  put_u32(out + 20, k.ref_length);
  put_u64(out + 24, static_cast<uint64_t>(k.usec));
}

void encode_iend(uint8_t* out) {
  std::memset(out, 0, kIframeEntrySize);
  put_tag(out, "Iend");
}

void encode_motion(uint8_t* out, PackedTime t, const uint8_t* cells) {
  const TimeFields f = unpack_time(t);
  put_u8(out + 0, 0);
  put_u8(out + 1, static_cast<uint8_t>(f.second));
  put_u8(out + 2, static_cast<uint8_t>(f.minute));
  put_u8(out + 3, static_cast<uint8_t>(f.hour));
  put_u8(out + 4, static_cast<uint8_t>(f.day));
  put_u8(out + 5, static_cast<uint8_t>(f.month));
  put_u16(out + 6, static_cast<uint16_t>(f.year - 2000));
  std::memcpy(out + 8, cells, 72);
}

void encode_mobitend(uint8_t* out) {
  std::memset(out, 0, kMotionRecordSize);
  put_tag(out, "MoBi");
  put_tag(out + 4, "tEnd");
}

void encode_picture(uint8_t* out, const PictureTruth& p) {
  std::memset(out, 0, kPictureRecordSize);
  put_tag(out, "Pict");
  put_u32(out + 4, p.time);
  put_u32(out + 8, p.offset);
  put_u32(out + 12, p.length);
  put_u64(out + 16, p.opts.type_mask);
  put_u32(out + 24, p.opts.extra_word);
  put_u16(out + 28, static_cast<uint16_t>(p.chn));
  put_u8(out + 30, p.opts.status);
  put_u8(out + 31, p.opts.extra_byte);
  put_u16(out + 32, p.opts.extra_half);
}

void encode_pend(uint8_t* out, uint32_t data_end) {
  std::memset(out, 0, kPictureRecordSize);
  put_tag(out, "Pend");
  put_u32(out + 8, data_end);
}

void encode_picmon_head(uint8_t* out, uint32_t count, PackedTime first, PackedTime last,
                        uint32_t table_off) {
  std::memset(out, 0, kPicMonHeadSize);
  std::memcpy(out, "PicMon_", 8);  // seven letters and their zero byte
  put_u32(out + 12, count);
  put_u32(out + 16, first);
  put_u32(out + 20, last);
  put_u32(out + 24, table_off);
  put_u32(out + 28, kPicMonEntrySize);
}

void encode_picmon_entry(uint8_t* out, const PictureTruth& p) {
  const TimeFields f = unpack_time(p.time);
  std::memset(out, 0, kPicMonEntrySize);
  put_u16(out + 0, static_cast<uint16_t>(f.year - 2000));
  put_u8(out + 2, static_cast<uint8_t>(f.month));
  put_u8(out + 3, static_cast<uint8_t>(f.day));
  put_u8(out + 4, static_cast<uint8_t>(f.hour));
  put_u8(out + 5, static_cast<uint8_t>(f.minute));
  put_u8(out + 6, static_cast<uint8_t>(f.second));
  put_u8(out + 7, p.opts.status);
  put_u16(out + 8, static_cast<uint16_t>(p.chn));
  put_u32(out + 12, static_cast<uint32_t>(p.index));
}

void encode_label_head(const LabelHeadFields& f, uint8_t* out) {
  std::memset(out, 0, kLabelHeadSize);
  put_u32(out + 0, f.presence);
  put_tag(out + 4, "LabH");
  put_u32(out + 8, f.end_record);
  put_u32(out + 16, f.first[0]);
  put_u32(out + 20, f.first[1]);
  put_u32(out + 24, f.last[0]);
  put_u32(out + 28, f.last[1]);
}

void encode_label(uint8_t* out, const LabelTruth& l) {
  std::memset(out, 0, kLabelRecordSize);
  put_u32(out + 4, l.opts.extra_word1);
  put_u32(out + 8, l.opts.extra_word2);
  put_u32(out + 12, l.time);
  put_u16(out + 16, l.opts.extra_half);
  put_u16(out + 18, static_cast<uint16_t>(l.chn));
  put_u8(out + 20, l.opts.state);
  std::memcpy(out + 21, l.text.data(), std::min<size_t>(l.text.size(), 42));
}

void encode_lend(uint8_t* out) {
  std::memset(out, 0, kLabelRecordSize);
  put_tag(out, "Lend");
}

}  // namespace rec
