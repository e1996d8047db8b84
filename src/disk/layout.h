// Every on-disk record of the rfs, declared once: sizes, field offsets, magics
// and small accessors that decode and encode through explicit little-endian
// loads and stores. Nothing here casts a buffer to a struct.
//
// Records kept in memory (the disk parameter block, the partition records and
// the label head of a mounted disk) own their bytes; every other record is
// reached through free functions on a pointer to its first byte inside a
// larger buffer (a file table, an event table, a key-frame block...). Setters
// change only their own field, so reserved bytes go back to disk unchanged.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "frame/bytes.h"

namespace rfs {

// ---- Field checks ---------------------------------------------------------
// Every record below lists its fields (offset, width) in order; the checks
// make sure no field overlaps the next one or runs past the record's end.

struct FieldSpan {
    size_t offset;
    size_t width;
};

template <size_t N>
constexpr bool fields_fit(const FieldSpan (&fields)[N], size_t record_size) {
    for (size_t i = 0; i < N; ++i) {
        if (fields[i].offset + fields[i].width > record_size) return false;
        if (i > 0 && fields[i].offset < fields[i - 1].offset + fields[i - 1].width) return false;
    }
    return true;
}

// ---- Magics ---------------------------------------------------------------

constexpr uint32_t kMagicQkfs = fourcc("Qkfs"); // disk parameter block, 0x73666B51
constexpr uint32_t kMagicPart = fourcc("Part"); // partition record, 0x74726150
constexpr uint32_t kMagicFile = fourcc("File"); // file record in use, 0x656C6946
constexpr uint32_t kMagicEven = fourcc("Even"); // closed event, 0x6E657645
constexpr uint32_t kMagicEvWr = fourcc("EvWr"); // event being written, 0x72577645
constexpr uint32_t kMagicIend = fourcc("Iend"); // end of a key-frame index, 0x646E6549
constexpr uint32_t kMagicQKFm = fourcc("QKFm"); // stored frame header
constexpr uint32_t kMagicPict = fourcc("Pict"); // picture record, 0x74636950
constexpr uint32_t kMagicPend = fourcc("Pend"); // end of a picture table, 0x646E6550
constexpr uint32_t kMagicLabH = fourcc("LabH"); // label head
constexpr uint32_t kMagicLend = fourcc("Lend"); // last label record
constexpr uint32_t kMagicMoBi = fourcc("MoBi"); // motion end marker, first word
constexpr uint32_t kMagicTEnd = fourcc("tEnd"); // motion end marker, second word
// "PicMon_" and its terminating zero, compared as all eight bytes.
constexpr uint8_t kMagicPicMon[8] = {'P', 'i', 'c', 'M', 'o', 'n', '_', 0};

// ---- Disk geometry --------------------------------------------------------

constexpr int kIndexCopies = 4;          // index copies per partition
constexpr int kPartitionSlots = 16;      // part_base / index_flags entries
constexpr uint64_t kParamBlockPos = 128; // block position on the device / in each index file
constexpr uint32_t kVersionMajor = 5;
constexpr uint32_t kVersionMinor = 1;

constexpr uint32_t kDataFile256M = 0x10000000;
constexpr uint32_t kDataFile512M = 0x20000000;
constexpr uint32_t kDataFile1G = 0x40000000;

// Bytes of one data file: the stored size when it is one the recorder writes,
// 256 MiB for anything else.
constexpr uint32_t effective_data_file_size(uint32_t data_file_size) {
    return (data_file_size == kDataFile256M || data_file_size == kDataFile512M ||
            data_file_size == kDataFile1G)
               ? data_file_size
               : kDataFile256M;
}

// One data file's event table: 512 entries with 1 GiB files, 256 otherwise.
constexpr uint32_t event_table_size(uint32_t data_file_size) {
    return data_file_size == kDataFile1G ? 32768 : 16384;
}

// Where media data starts in a data file.
constexpr uint32_t media_data_start(uint32_t data_file_size) {
    return effective_data_file_size(data_file_size) == kDataFile256M ? 0x400000 : 0x1800000;
}

// Motion records run from kMotionAreaStart up to this end.
constexpr uint32_t kMotionAreaStart = 0x1000;
constexpr uint32_t motion_area_end(uint32_t data_file_size) {
    return (data_file_size == kDataFile512M || data_file_size == kDataFile1G) ? 0x800000
                                                                              : 0x200000;
}

// 64 KiB key-frame blocks that repair scans down from an event's iframe_top.
// The NAS limit is smaller on purpose.
constexpr int kframe_scan_blocks(uint32_t data_file_size, bool nas) {
    if (nas) return 65;
    return effective_data_file_size(data_file_size) == kDataFile256M ? 129 : 513;
}

// ---- DiskParamBlock (272 bytes) -----------------------------------------

struct DiskParamBlock {
    static constexpr size_t kSize = 272;
    static constexpr size_t kMagic = 0;
    static constexpr size_t kTotalSizeMb = 4;
    static constexpr size_t kPartCount = 12;
    static constexpr size_t kCurPart = 13;
    static constexpr size_t kDiskState = 14;
    static constexpr size_t kFsType = 15;
    static constexpr size_t kVersionMinorOff = 16;
    static constexpr size_t kVersionMajorOff = 18;
    static constexpr size_t kFileTableOff = 20;
    static constexpr size_t kEventAreaOff = 24;
    static constexpr size_t kLabelArea = 32;
    static constexpr size_t kSwitchA = 56;
    static constexpr size_t kSwitchB = 60;
    static constexpr size_t kDataFileSize = 64;
    static constexpr size_t kDataAreaStart = 68;
    static constexpr size_t kPartBase = 72;    // 16 x u64
    static constexpr size_t kIndexFlags = 200; // 16 x u8, bit k = copy k usable
    static constexpr size_t kIndexCopySize = 216;
    static constexpr size_t kCheckSum = 268; // XOR of the 67 words before it

    uint8_t bytes[kSize] = {};

    uint32_t magic() const { return load_le32(bytes + kMagic); }
    uint32_t total_size_mb() const { return load_le32(bytes + kTotalSizeMb); }
    uint8_t part_count() const { return bytes[kPartCount]; }
    uint8_t cur_part() const { return bytes[kCurPart]; }
    uint8_t disk_state() const { return bytes[kDiskState]; }
    uint8_t fs_type() const { return bytes[kFsType]; }
    uint16_t version_minor() const { return load_le16(bytes + kVersionMinorOff); }
    uint16_t version_major() const { return load_le16(bytes + kVersionMajorOff); }
    uint32_t file_table_off() const { return load_le32(bytes + kFileTableOff); }
    uint32_t event_area_off() const { return load_le32(bytes + kEventAreaOff); }
    uint32_t label_area() const { return load_le32(bytes + kLabelArea); }
    uint32_t switch_a() const { return load_le32(bytes + kSwitchA); }
    uint32_t switch_b() const { return load_le32(bytes + kSwitchB); }
    uint32_t data_file_size() const { return load_le32(bytes + kDataFileSize); }
    uint32_t data_area_start() const { return load_le32(bytes + kDataAreaStart); }
    // p must be below kPartitionSlots; callers check partition numbers first.
    uint64_t part_base(int p) const { return load_le64(bytes + kPartBase + 8 * size_t(p)); }
    uint8_t index_flags(int p) const { return bytes[kIndexFlags + size_t(p)]; }
    uint32_t index_copy_size() const { return load_le32(bytes + kIndexCopySize); }
    uint32_t check_sum() const { return load_le32(bytes + kCheckSum); }

    void set_disk_state(uint8_t v) { bytes[kDiskState] = v; }
    void set_index_flags(int p, uint8_t v) { bytes[kIndexFlags + size_t(p)] = v; }
    void set_check_sum(uint32_t v) { store_le32(bytes + kCheckSum, v); }
};

namespace param_block_fields {
using B = DiskParamBlock;
static_assert(fields_fit({{B::kMagic, 4}, {B::kTotalSizeMb, 4}, {B::kPartCount, 1},
                          {B::kCurPart, 1}, {B::kDiskState, 1}, {B::kFsType, 1},
                          {B::kVersionMinorOff, 2}, {B::kVersionMajorOff, 2},
                          {B::kFileTableOff, 4}, {B::kEventAreaOff, 4}, {B::kLabelArea, 4},
                          {B::kSwitchA, 4}, {B::kSwitchB, 4}, {B::kDataFileSize, 4},
                          {B::kDataAreaStart, 4}, {B::kPartBase, 8 * kPartitionSlots},
                          {B::kIndexFlags, kPartitionSlots}, {B::kIndexCopySize, 4},
                          {B::kCheckSum, 4}},
                         B::kSize) &&
              B::kCheckSum + 4 == B::kSize);
} // namespace param_block_fields

// ---- PartitionRecord (40 bytes, at offset 0 of every index area copy) ----

struct PartitionRecord {
    static constexpr size_t kSize = 40;
    static constexpr size_t kMagic = 0;
    static constexpr size_t kFileNr = 4;
    static constexpr size_t kFreeFileNr = 6;
    static constexpr size_t kPartState = 10; // 0/1 usable, 2 bad
    static constexpr size_t kRepairFlag = 11; // 1 = being written when the recorder stopped
    static constexpr size_t kRecordStart = 16;
    static constexpr size_t kRecordEnd = 20;
    static constexpr size_t kPicStart = 24;
    static constexpr size_t kPicEnd = 28;

    static constexpr uint8_t kStateBad = 2;

    uint8_t bytes[kSize] = {};

    uint32_t magic() const { return load_le32(bytes + kMagic); }
    uint16_t file_nr() const { return load_le16(bytes + kFileNr); }
    uint16_t free_file_nr() const { return load_le16(bytes + kFreeFileNr); }
    uint8_t part_state() const { return bytes[kPartState]; }
    uint8_t repair_flag() const { return bytes[kRepairFlag]; }
    uint32_t record_start() const { return load_le32(bytes + kRecordStart); }
    uint32_t record_end() const { return load_le32(bytes + kRecordEnd); }
    uint32_t pic_start() const { return load_le32(bytes + kPicStart); }
    uint32_t pic_end() const { return load_le32(bytes + kPicEnd); }

    void set_free_file_nr(uint16_t v) { store_le16(bytes + kFreeFileNr, v); }
    void set_part_state(uint8_t v) { bytes[kPartState] = v; }
    void set_repair_flag(uint8_t v) { bytes[kRepairFlag] = v; }
    void set_record_start(uint32_t v) { store_le32(bytes + kRecordStart, v); }
    void set_record_end(uint32_t v) { store_le32(bytes + kRecordEnd, v); }
    void set_pic_start(uint32_t v) { store_le32(bytes + kPicStart, v); }
    void set_pic_end(uint32_t v) { store_le32(bytes + kPicEnd, v); }
};

static_assert(fields_fit({{PartitionRecord::kMagic, 4}, {PartitionRecord::kFileNr, 2},
                          {PartitionRecord::kFreeFileNr, 2}, {PartitionRecord::kPartState, 1},
                          {PartitionRecord::kRepairFlag, 1}, {PartitionRecord::kRecordStart, 4},
                          {PartitionRecord::kRecordEnd, 4}, {PartitionRecord::kPicStart, 4},
                          {PartitionRecord::kPicEnd, 4}},
                         PartitionRecord::kSize));

// ---- index_file_info (336 bytes, one per data file) ----------------------

namespace index_file_info {
constexpr size_t kSize = 336;
constexpr size_t kMagic = 0;
constexpr size_t kFileNo = 4; // 1-based
constexpr size_t kEventNr = 6;
constexpr size_t kChn = 8;
constexpr size_t kFileState = 10; // 0 free, 1 writing, 2 closed, 3 not counted, 4 closed by repair
constexpr size_t kFileType = 11;  // 0 record file, 1 picture file
constexpr size_t kStartTime = 16;
constexpr size_t kEndTime = 20;
constexpr size_t kEndSequence = 24; // 0xFFFFFFFF while open
constexpr size_t kDataEnd = 28;
constexpr size_t kIndexPos = 32;
constexpr size_t kDayMap = 40; // 64 x u32: word t, bit d = day d + 1 holds type t
constexpr size_t kDayMapWords = 64;
constexpr size_t kMoareaEnd = 296;
constexpr size_t kPicWord = 300;
constexpr size_t kPicChnMask = 304; // 2 x u64
constexpr size_t kAuxEnd = 320;

constexpr uint32_t kOpenSequence = 0xFFFFFFFFu;

inline uint32_t magic(const uint8_t *r) { return load_le32(r + kMagic); }
inline uint16_t file_no(const uint8_t *r) { return load_le16(r + kFileNo); }
inline uint16_t event_nr(const uint8_t *r) { return load_le16(r + kEventNr); }
inline uint16_t chn(const uint8_t *r) { return load_le16(r + kChn); }
inline uint8_t file_state(const uint8_t *r) { return r[kFileState]; }
inline uint8_t file_type(const uint8_t *r) { return r[kFileType]; }
inline uint32_t start_time(const uint8_t *r) { return load_le32(r + kStartTime); }
inline uint32_t end_time(const uint8_t *r) { return load_le32(r + kEndTime); }
inline uint32_t end_sequence(const uint8_t *r) { return load_le32(r + kEndSequence); }
inline uint32_t data_end(const uint8_t *r) { return load_le32(r + kDataEnd); }
inline uint32_t index_pos(const uint8_t *r) { return load_le32(r + kIndexPos); }
inline uint32_t day_map(const uint8_t *r, size_t word) { return load_le32(r + kDayMap + 4 * word); }
inline uint32_t moarea_end(const uint8_t *r) { return load_le32(r + kMoareaEnd); }
inline uint32_t pic_word(const uint8_t *r) { return load_le32(r + kPicWord); }
inline uint64_t pic_chn_mask(const uint8_t *r, size_t i) { return load_le64(r + kPicChnMask + 8 * i); }
inline uint32_t aux_end(const uint8_t *r) { return load_le32(r + kAuxEnd); }

inline void set_event_nr(uint8_t *r, uint16_t v) { store_le16(r + kEventNr, v); }
inline void set_file_state(uint8_t *r, uint8_t v) { r[kFileState] = v; }
inline void set_start_time(uint8_t *r, uint32_t v) { store_le32(r + kStartTime, v); }
inline void set_end_time(uint8_t *r, uint32_t v) { store_le32(r + kEndTime, v); }
inline void set_end_sequence(uint8_t *r, uint32_t v) { store_le32(r + kEndSequence, v); }
inline void set_data_end(uint8_t *r, uint32_t v) { store_le32(r + kDataEnd, v); }
inline void set_index_pos(uint8_t *r, uint32_t v) { store_le32(r + kIndexPos, v); }
inline void set_day_map(uint8_t *r, size_t word, uint32_t v) { store_le32(r + kDayMap + 4 * word, v); }
inline void clear_day_map(uint8_t *r) { std::memset(r + kDayMap, 0, 4 * kDayMapWords); }
inline void set_moarea_end(uint8_t *r, uint32_t v) { store_le32(r + kMoareaEnd, v); }
inline void set_pic_word(uint8_t *r, uint32_t v) { store_le32(r + kPicWord, v); }
inline void set_pic_chn_mask(uint8_t *r, size_t i, uint64_t v) { store_le64(r + kPicChnMask + 8 * i, v); }
inline void set_aux_end(uint8_t *r, uint32_t v) { store_le32(r + kAuxEnd, v); }

static_assert(fields_fit({{kMagic, 4}, {kFileNo, 2}, {kEventNr, 2}, {kChn, 2}, {kFileState, 1},
                          {kFileType, 1}, {kStartTime, 4}, {kEndTime, 4}, {kEndSequence, 4},
                          {kDataEnd, 4}, {kIndexPos, 4}, {kDayMap, 4 * kDayMapWords},
                          {kMoareaEnd, 4}, {kPicWord, 4}, {kPicChnMask, 16}, {kAuxEnd, 4}},
                         kSize));
} // namespace index_file_info

// ---- index_event_info (64 bytes, one per stored event) -------------------

namespace index_event_info {
constexpr size_t kSize = 64;
constexpr size_t kMagic = 0; // Even closed, EvWr being written, 0 no entry
constexpr size_t kStartTime = 4;
constexpr size_t kDataStart = 8;
constexpr size_t kIframeTop = 12;
constexpr size_t kTypeMask = 16;
constexpr size_t kEventNo = 24; // 1-based
constexpr size_t kMoareaStart = 28;
constexpr size_t kAuxStart = 32;
constexpr size_t kAuxLen = 36;
constexpr size_t kEndTime = 40;
constexpr size_t kDataSize = 44;
constexpr size_t kLastIframePos = 48;
constexpr size_t kSkipFlag = 52; // 1 hidden everywhere, 2 listed with status 2
constexpr size_t kMoareaEnd = 56;

inline uint32_t magic(const uint8_t *e) { return load_le32(e + kMagic); }
inline uint32_t start_time(const uint8_t *e) { return load_le32(e + kStartTime); }
inline uint32_t data_start(const uint8_t *e) { return load_le32(e + kDataStart); }
inline uint32_t iframe_top(const uint8_t *e) { return load_le32(e + kIframeTop); }
inline uint64_t type_mask(const uint8_t *e) { return load_le64(e + kTypeMask); }
inline uint16_t event_no(const uint8_t *e) { return load_le16(e + kEventNo); }
inline uint32_t moarea_start(const uint8_t *e) { return load_le32(e + kMoareaStart); }
inline uint32_t aux_start(const uint8_t *e) { return load_le32(e + kAuxStart); }
inline uint32_t aux_len(const uint8_t *e) { return load_le32(e + kAuxLen); }
inline uint32_t end_time(const uint8_t *e) { return load_le32(e + kEndTime); }
inline uint32_t data_size(const uint8_t *e) { return load_le32(e + kDataSize); }
inline uint32_t last_iframe_pos(const uint8_t *e) { return load_le32(e + kLastIframePos); }
inline uint8_t skip_flag(const uint8_t *e) { return e[kSkipFlag]; }
inline uint32_t moarea_end(const uint8_t *e) { return load_le32(e + kMoareaEnd); }

inline void set_magic(uint8_t *e, uint32_t v) { store_le32(e + kMagic, v); }
inline void set_event_no(uint8_t *e, uint16_t v) { store_le16(e + kEventNo, v); }
inline void set_end_time(uint8_t *e, uint32_t v) { store_le32(e + kEndTime, v); }
inline void set_data_size(uint8_t *e, uint32_t v) { store_le32(e + kDataSize, v); }
inline void set_last_iframe_pos(uint8_t *e, uint32_t v) { store_le32(e + kLastIframePos, v); }
inline void set_skip_flag(uint8_t *e, uint8_t v) { e[kSkipFlag] = v; }
inline void set_moarea_end(uint8_t *e, uint32_t v) { store_le32(e + kMoareaEnd, v); }

static_assert(fields_fit({{kMagic, 4}, {kStartTime, 4}, {kDataStart, 4}, {kIframeTop, 4},
                          {kTypeMask, 8}, {kEventNo, 2}, {kMoareaStart, 4}, {kAuxStart, 4},
                          {kAuxLen, 4}, {kEndTime, 4}, {kDataSize, 4}, {kLastIframePos, 4},
                          {kSkipFlag, 1}, {kMoareaEnd, 4}},
                         kSize));
} // namespace index_event_info

// ---- Index area of one partition ------------------------------------------
// PartitionRecord at 0, file table at file_table_off (record k of data file
// file_no k + 1), event tables at event_area_off (table of data file k + 1 at
// k x event_table_size). Offsets are relative to the area copy's start.

inline uint64_t file_record_offset(const DiskParamBlock &b, uint32_t k) {
    return uint64_t(b.file_table_off()) + uint64_t(index_file_info::kSize) * k;
}
inline uint64_t event_table_offset(const DiskParamBlock &b, uint32_t k) {
    return uint64_t(b.event_area_off()) + uint64_t(event_table_size(b.data_file_size())) * k;
}

// ---- IframeIndexEntry (32 bytes, written downward from a data file's end) -

namespace iframe_entry {
constexpr size_t kSize = 32;
constexpr size_t kTag = 0; // Iend marks the end of the index
constexpr size_t kTime = 4;
constexpr size_t kIframeOffset = 8;
constexpr size_t kIframeLength = 12; // frame header included
constexpr size_t kRefOffset = 16;    // == iframe_offset when no reference frame
constexpr size_t kRefLength = 20;    // 0 when none

inline uint32_t tag(const uint8_t *e) { return load_le32(e + kTag); }
inline uint32_t time(const uint8_t *e) { return load_le32(e + kTime); }
inline uint32_t iframe_offset(const uint8_t *e) { return load_le32(e + kIframeOffset); }
inline uint32_t iframe_length(const uint8_t *e) { return load_le32(e + kIframeLength); }
inline uint32_t ref_offset(const uint8_t *e) { return load_le32(e + kRefOffset); }
inline uint32_t ref_length(const uint8_t *e) { return load_le32(e + kRefLength); }

// Entry n lies at data-file offset n * kSize: the number of the entry at a
// byte offset the event record stores.
constexpr int32_t number_at(uint32_t offset) { return int32_t(offset / kSize); }

static_assert(fields_fit({{kTag, 4}, {kTime, 4}, {kIframeOffset, 4}, {kIframeLength, 4},
                          {kRefOffset, 4}, {kRefLength, 4}},
                         kSize));
} // namespace iframe_entry

// ---- FrameHeader (first 40 bytes of every stored frame) ------------------

namespace frame_header {
constexpr size_t kSize = 40;
constexpr size_t kTag = 0;       // QKFm
constexpr size_t kFrameType = 4; // 'I', 'J', 'K' key frames; 'V' before a reference
constexpr size_t kTimestamp = 16; // microseconds since 1970 UTC

inline uint32_t tag(const uint8_t *h) { return load_le32(h + kTag); }
inline char frame_type(const uint8_t *h) { return char(h[kFrameType]); }
inline int64_t timestamp_us(const uint8_t *h) { return int64_t(load_le64(h + kTimestamp)); }

static_assert(fields_fit({{kTag, 4}, {kFrameType, 1}, {kTimestamp, 8}}, kSize));
} // namespace frame_header

// ---- Motion record (80 bytes, from data-file offset kMotionAreaStart) ----

namespace motion_record {
constexpr size_t kSize = 80;
constexpr size_t kTime = 0;   // RfsDateTime layout: byte 0 unused, sec, min, hour, day, month, u16 year
constexpr size_t kBitmap = 8; // one bit per picture cell
constexpr size_t kBitmapSize = 72;

// The record after the last one written carries MoBi, tEnd in place of its time.
inline bool is_end(const uint8_t *r) {
    return load_le32(r) == kMagicMoBi && load_le32(r + 4) == kMagicTEnd;
}

static_assert(fields_fit({{kTime, 8}, {kBitmap, kBitmapSize}}, kSize));
} // namespace motion_record

// ---- PicMon_ block (picture-month table, at data-file offset 0x1000) -----

namespace pic_mon {
constexpr uint32_t kBlockPos = 0x1000;
constexpr uint32_t kBufferSize = 0x80000; // the table is read 512 KiB at a time
constexpr int kMaxBuffers = 16;           // ... and at most this many times
constexpr size_t kHeaderSize = 32;
constexpr size_t kMagic = 0; // 8 bytes, kMagicPicMon
constexpr size_t kWrittedCount = 12;
constexpr size_t kPicStart = 16;
constexpr size_t kPicEnd = 20;
constexpr size_t kPicMonOffset = 24; // entry table, from the data file's start
constexpr size_t kPicMonSize = 28;   // bytes per entry
// Entry: i16 year since 2000, u8 month, u8 day, rest not read.
constexpr size_t kEntryYear = 0;
constexpr size_t kEntryMonth = 2;
constexpr size_t kEntryDay = 3;
constexpr size_t kEntryMinSize = 4; // year, month and day

inline bool magic_ok(const uint8_t *b) { return std::memcmp(b + kMagic, kMagicPicMon, 8) == 0; }
inline uint32_t writted_count(const uint8_t *b) { return load_le32(b + kWrittedCount); }
inline uint32_t pic_start(const uint8_t *b) { return load_le32(b + kPicStart); }
inline uint32_t pic_end(const uint8_t *b) { return load_le32(b + kPicEnd); }
inline uint32_t pic_mon_offset(const uint8_t *b) { return load_le32(b + kPicMonOffset); }
inline uint32_t pic_mon_size(const uint8_t *b) { return load_le32(b + kPicMonSize); }
inline int16_t entry_year(const uint8_t *e) { return int16_t(load_le16(e + kEntryYear)); }
inline uint8_t entry_month(const uint8_t *e) { return e[kEntryMonth]; }
inline uint8_t entry_day(const uint8_t *e) { return e[kEntryDay]; }

static_assert(fields_fit({{kMagic, 8}, {kWrittedCount, 4}, {kPicStart, 4}, {kPicEnd, 4},
                          {kPicMonOffset, 4}, {kPicMonSize, 4}},
                         kHeaderSize));
static_assert(fields_fit({{kEntryYear, 2}, {kEntryMonth, 1}, {kEntryDay, 1}}, kEntryMinSize));
} // namespace pic_mon

// ---- PicIndexRecord (48 bytes, written downward from a picture file's end) -

namespace pic_record {
constexpr size_t kSize = 48;
constexpr size_t kMagic = 0; // Pict, or Pend for the end marker
constexpr size_t kTime = 4;
constexpr size_t kOffset = 8; // in the Pend record: picture-data write position
constexpr size_t kPicLength = 12;
constexpr size_t kTypeLo = 16;
constexpr size_t kTypeHi = 20;
constexpr size_t kExtraWord = 24;
constexpr size_t kPicChn = 28;
constexpr size_t kStatus = 30; // 2 = deleted
constexpr size_t kExtraByte = 31;
constexpr size_t kExtraHalf = 32;

constexpr uint8_t kStatusDeleted = 2;

inline uint32_t magic(const uint8_t *r) { return load_le32(r + kMagic); }
inline uint32_t time(const uint8_t *r) { return load_le32(r + kTime); }
inline uint32_t offset(const uint8_t *r) { return load_le32(r + kOffset); }
inline uint32_t pic_length(const uint8_t *r) { return load_le32(r + kPicLength); }
inline uint32_t type_lo(const uint8_t *r) { return load_le32(r + kTypeLo); }
inline uint32_t type_hi(const uint8_t *r) { return load_le32(r + kTypeHi); }
inline uint64_t type_mask(const uint8_t *r) { return load_le64(r + kTypeLo); }
inline uint32_t extra_word(const uint8_t *r) { return load_le32(r + kExtraWord); }
inline uint16_t pic_chn(const uint8_t *r) { return load_le16(r + kPicChn); }
inline uint8_t status(const uint8_t *r) { return r[kStatus]; }
inline uint8_t extra_byte(const uint8_t *r) { return r[kExtraByte]; }
inline uint16_t extra_half(const uint8_t *r) { return load_le16(r + kExtraHalf); }

static_assert(fields_fit({{kMagic, 4}, {kTime, 4}, {kOffset, 4}, {kPicLength, 4}, {kTypeLo, 4},
                          {kTypeHi, 4}, {kExtraWord, 4}, {kPicChn, 2}, {kStatus, 1},
                          {kExtraByte, 1}, {kExtraHalf, 2}},
                         kSize));
} // namespace pic_record

// ---- Label area: LabelHead at 0, two halves of 16384 LabelRecords --------

constexpr uint32_t kLabelHalfPos = 0x400;       // half h at kLabelHalfPos + h * kLabelHalfSize
constexpr uint32_t kLabelHalfSize = 0x100000;   // 1 MiB
constexpr uint32_t kLabelsPerHalf = 16384;

struct LabelHead {
    static constexpr size_t kSize = 32;
    static constexpr size_t kPresence = 0; // 0 = no labels
    static constexpr size_t kMagic = 4;    // LabH, logged, never compared
    static constexpr size_t kEndRecord = 8; // number of the Lend record, 0..32767
    static constexpr size_t kEarliest = 16; // 2 x u32, per half
    static constexpr size_t kLatest = 24;   // 2 x u32, per half

    uint8_t bytes[kSize] = {};

    uint32_t presence() const { return load_le32(bytes + kPresence); }
    uint32_t magic() const { return load_le32(bytes + kMagic); }
    uint32_t end_record() const { return load_le32(bytes + kEndRecord); }
    uint32_t earliest(int half) const { return load_le32(bytes + kEarliest + 4 * size_t(half)); }
    uint32_t latest(int half) const { return load_le32(bytes + kLatest + 4 * size_t(half)); }

    void set_end_record(uint32_t v) { store_le32(bytes + kEndRecord, v); }
    void set_earliest(int half, uint32_t v) { store_le32(bytes + kEarliest + 4 * size_t(half), v); }
    void set_latest(int half, uint32_t v) { store_le32(bytes + kLatest + 4 * size_t(half), v); }
};

static_assert(fields_fit({{LabelHead::kPresence, 4}, {LabelHead::kMagic, 4},
                          {LabelHead::kEndRecord, 4}, {LabelHead::kEarliest, 8},
                          {LabelHead::kLatest, 8}},
                         LabelHead::kSize));

namespace label_record {
constexpr size_t kSize = 64;
constexpr size_t kEndMarker = 0; // Lend
constexpr size_t kExtraWord1 = 4;
constexpr size_t kExtraWord2 = 8;
constexpr size_t kTime = 12;
constexpr size_t kExtraHalf = 16;
constexpr size_t kChn = 18;
constexpr size_t kState = 20; // 1 valid, 2 deleted
constexpr size_t kText = 21;  // NUL-terminated by the recorder; a damaged record
constexpr size_t kTextSize = 43; // may lack it, so bound every use to kTextSize

constexpr uint8_t kStateValid = 1;
constexpr uint8_t kStateDeleted = 2;

inline uint32_t end_marker(const uint8_t *r) { return load_le32(r + kEndMarker); }
inline uint32_t extra_word1(const uint8_t *r) { return load_le32(r + kExtraWord1); }
inline uint32_t extra_word2(const uint8_t *r) { return load_le32(r + kExtraWord2); }
inline uint32_t time(const uint8_t *r) { return load_le32(r + kTime); }
inline uint16_t extra_half(const uint8_t *r) { return load_le16(r + kExtraHalf); }
inline uint16_t chn(const uint8_t *r) { return load_le16(r + kChn); }
inline uint8_t state(const uint8_t *r) { return r[kState]; }
inline const uint8_t *text(const uint8_t *r) { return r + kText; }

static_assert(fields_fit({{kEndMarker, 4}, {kExtraWord1, 4}, {kExtraWord2, 4}, {kTime, 4},
                          {kExtraHalf, 2}, {kChn, 2}, {kState, 1}, {kText, kTextSize}},
                         kSize));
static_assert(kLabelHalfSize == kLabelsPerHalf * kSize);
} // namespace label_record

} // namespace rfs
