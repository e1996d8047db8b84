// Encoders of the recorder's on-disk records. Each writes one record into a
// byte buffer with explicit little-endian stores at the record's offsets;
// bytes a record leaves unused are zero.
#pragma once

#include <array>
#include <cstdint>

#include "recorder.h"

namespace rec {

constexpr size_t kBlockSize = 272;
constexpr size_t kPartitionSize = 40;
constexpr size_t kFileInfoSize = 336;
constexpr size_t kEventInfoSize = 64;
constexpr size_t kFrameHeaderSize = 40;
constexpr size_t kIframeEntrySize = 32;
constexpr size_t kMotionRecordSize = 80;
constexpr size_t kPictureRecordSize = 48;
constexpr size_t kPicMonHeadSize = 32;
constexpr size_t kPicMonEntrySize = 16;
constexpr size_t kLabelHeadSize = 32;
constexpr size_t kLabelRecordSize = 64;

constexpr uint32_t kOpenSequence = 0xFFFFFFFF;  // end_sequence of a file still open

struct BlockFields {
  uint32_t total_size_mb = 0;
  uint8_t part_count = 1;
  uint8_t cur_part = 0;
  uint8_t disk_state = 0;
  uint8_t fs_type = 3;
  uint32_t file_table_off = 0;
  uint32_t event_area_off = 0;
  uint32_t label_area = 0;
  uint32_t switch_a = 0;
  uint32_t switch_b = 0;
  uint32_t data_file_size = 0;
  uint32_t data_area_start = 0;
  std::array<uint64_t, 16> part_base{};
  std::array<uint8_t, 16> index_flags{};
  uint32_t index_copy_size = 0;
};
// Fills the 272-byte disk parameter block, check sum included.
void encode_block(const BlockFields& f, uint8_t* out);

struct PartitionFields {
  uint16_t file_nr = 0;
  uint16_t free_file_nr = 0;
  uint8_t part_state = 0;
  uint8_t repair_flag = 0;
  PackedTime rec_start = 0, rec_end = 0;
  PackedTime pic_start = 0, pic_end = 0;
};
void encode_partition(const PartitionFields& f, uint8_t* out);

enum class FileType : uint8_t { Record = 0, Picture = 1 };

struct FileFields {
  uint16_t file_no = 0;
  uint16_t event_nr = 0;
  uint16_t chn = 0;
  uint8_t state = 0;  // 0 free, 1 being written, 2 closed
  FileType type = FileType::Record;
  PackedTime start = 0, end = 0;
  uint32_t end_sequence = 0;
  uint32_t data_end = 0;
  uint32_t index_pos = 0;
  std::array<uint32_t, 64> day_map{};
  uint32_t moarea_end = 0;
  std::array<uint64_t, 2> pic_chn_mask{};
  uint32_t aux_end = 0;
};
void encode_file(const FileFields& f, uint8_t* out);

// The recorder builds its day map with a 32-bit shift: type bit b marks word
// b only for b < 31; bit 31 or any bit of the high word marks words 31 and
// 63, and words 32..63 repeat words 0..31. The day is the event's start day.
void add_to_day_map(std::array<uint32_t, 64>& map, PackedTime start, uint64_t type_mask);
// Same 32-bit shift for the picture channel masks: channel 31 (or 95) sets
// bit 31 and all of bits 32..63, channels 32..62 set bit chn - 32.
void add_to_chn_mask(std::array<uint64_t, 2>& mask, int chn);

struct EventFields {
  bool writing = false;  // "EvWr" instead of "Even"
  bool removed = false;  // magic 0: a repair removed it
  PackedTime start = 0, end = 0;
  uint32_t data_start = 0;
  uint32_t iframe_top = 0;
  uint64_t type_mask = 0;
  uint16_t event_no = 0;
  uint8_t byte_a = 0, byte_b = 0;
  uint32_t moarea_start = 0;
  uint32_t aux_start = 0;
  uint32_t aux_len = 0;
  uint32_t data_size = 0;
  uint32_t last_iframe_pos = 0;
  uint8_t skip_flag = 0;
  uint32_t moarea_end = 0;
};
void encode_event(const EventFields& f, uint8_t* out);

// Frame header: "QKFm", the frame type, the frame's length at 8 and its
// channel at 12 (neither read by playback), the microsecond timestamp at 16.
void encode_frame_header(uint8_t* out, char type, int64_t usec, uint32_t length, uint16_t chn);
// Key-frame index entry; bytes 24..31 repeat the frame's microsecond time.
void encode_iframe_entry(uint8_t* out, const KeyFrame& k);
void encode_iend(uint8_t* out);

// Motion record: time as the 8-byte date-time record, then 72 bytes of cells.
void encode_motion(uint8_t* out, PackedTime t, const uint8_t* cells);
void encode_mobitend(uint8_t* out);

void encode_picture(uint8_t* out, const PictureTruth& p);
void encode_pend(uint8_t* out, uint32_t data_end);
void encode_picmon_head(uint8_t* out, uint32_t count, PackedTime first, PackedTime last,
                        uint32_t table_off);
// Picture-month entry: year since 2000 (i16), month, day, hour, minute,
// second, status, channel (u16), then the picture's index in its file (u32).
void encode_picmon_entry(uint8_t* out, const PictureTruth& p);

struct LabelHeadFields {
  uint32_t presence = 0;
  uint32_t end_record = 0;
  std::array<PackedTime, 2> first{};
  std::array<PackedTime, 2> last{};
};
void encode_label_head(const LabelHeadFields& f, uint8_t* out);
void encode_label(uint8_t* out, const LabelTruth& l);
void encode_lend(uint8_t* out);

}  // namespace rec
