// Recorder simulator: writes rfs disks the way the video recorder does.
//
// A Recorder formats one disk (a raw image or a NAS directory), then lives a
// recorder's day on it: per channel, recordings made of frames and key frames
// with their key-frame index, motion records and event records; snapshots in
// picture files; text labels. It ends either cleanly (finish) or with the
// power cut (power_loss), which leaves open files, half-written events and the
// partition's repair flag the way a real recorder leaves them.
//
//   rec::DiskShape shape;
//   shape.data_file_size = rec::kFile256M; shape.partitions = 2; shape.files_per_partition = 40;
//   rec::Recorder r(shape, "disk.img");        // or rec::Recorder r(shape) to build in memory
//   rec::RecordOptions opts;                  // 25 fps, key frame every 2 s, plain 'I' key frames
//   r.record(3, rec::t("2026-03-01 10:00:00"), rec::t("2026-03-01 10:15:00"), rec::kMotion, opts);
//   r.snapshot(3, rec::t("2026-03-01 10:05:00"), 30000);
//   r.label(3, rec::t("2026-03-01 10:06:00"), "door opened");
//   r.power_loss();                           // or r.finish()
//   // in-memory recorders: r.write_raw("x.img") or r.write_nas("dir")
//
// Besides the disk, the recorder keeps the truth about what it wrote
// (events(), pictures(), labels(), geometry()) so tests can check a reader
// against it byte for byte: stream() rebuilds the exact stored bytes of an
// event, picture_bytes() those of a picture.
//
// Everything is deterministic: the same calls with the same seed give
// byte-identical disks.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "packed_time.h"

namespace rec {

// The data-file sizes a recorder formats with. Any other value is stored in
// the disk parameter block as given and laid out as 256 MiB files.
constexpr uint32_t kFile256M = 0x10000000;
constexpr uint32_t kFile512M = 0x20000000;
constexpr uint32_t kFile1G = 0x40000000;

// Record-type bits this simulated recorder uses; any 64-bit mask may be given.
constexpr uint64_t kTimed = 1ull << 0;
constexpr uint64_t kMotion = 1ull << 1;
constexpr uint64_t kAlarm = 1ull << 2;
constexpr uint64_t kManual = 1ull << 3;

struct DiskShape {
  uint32_t data_file_size = kFile256M;
  int partitions = 1;           // 1..16; a NAS disk has exactly one
  int files_per_partition = 16;
  bool nas = false;             // NAS directory (index0..3, file%d, label0) instead of a raw image
  bool labels = true;           // reserve a label area (raw: its offset is stored in the block)
  bool headers_only = false;    // frames shrink to their 40-byte headers; the key-frame
                                // index and all records stay complete
  bool keep_truth = true;       // keep per-event key frames and motion times (off for huge disks)
  uint64_t seed = 1;            // payload generator
  std::vector<uint8_t> index_flags;  // per partition, bit k = index copy k usable; missing: 0x0F
  uint8_t fs_type = 0;          // 0: 3 for a raw disk, 7 for a NAS disk
  uint32_t switch_a = 0;        // the block's two switch words, carried as given
  uint32_t switch_b = 0;
};

struct RecordOptions {
  int fps = 25;                 // frames per second, 1..1000000
  int key_interval = 50;        // frames from one key frame to the next
  uint32_t key_bytes = 12000;   // payload of a key frame, after its 40-byte header
  uint32_t p_bytes = 1500;      // payload of a 'P' frame
  uint32_t ref_bytes = 4000;    // payload of a 'V' reference frame
  // 0: plain 'I' key frames without reference frame. n > 0: every n-th key
  // frame (the event's first included) is preceded by a new stored 'V'
  // reference frame (padded to 8 bytes) and is a 'J' frame; the others are
  // 'K' frames that point at the latest 'V'.
  int ref_every = 0;
  int motion_step = 0;          // seconds between motion records; 0 = none
  // 'P' frames after the event's closing key frame that still count in
  // data_size (a reader's tail check trims them). 0: the stream ends with its
  // last key frame, so data_size runs exactly to the end of that key frame.
  int tail_frames = 0;
  uint8_t skip_flag = 0;        // 1: left out of summaries and searches; 2: listed, flagged
  uint8_t stored_byte_a = 0;    // bytes 26 and 27 of the event record, carried by readers
  uint8_t stored_byte_b = 0;
};

// One key frame as stored: its index entry, the frame and its reference frame.
struct KeyFrame {
  PackedTime time = 0;
  int64_t usec = 0;             // frame header timestamp; usec / 1000000 as UTC is `time`
  char type = 'I';              // 'I', 'J' or 'K'
  uint32_t offset = 0;          // data-file offset of the frame (header included)
  uint32_t length = 0;          // frame length, header included
  uint32_t ref_offset = 0;      // == offset when there is no reference frame
  uint32_t ref_length = 0;      // 0 when there is none (stored padded to 8 bytes)
  uint32_t entry_pos = 0;       // data-file offset of its 32-byte IframeIndexEntry
};

// Stored magic "Even" / "EvWr" / 0 (Removed: a repair found no key frame to
// close the event at and removed it, every other field kept).
enum class EventState { Closed, Writing, Removed };

// One stored event. Data-file offsets are relative to the data file. For an
// event left 'Writing' the stored fields are what the recorder had written
// when the power went (see record_interrupted); `kframes` and `stream_size`
// still describe the frames that are on the disk.
struct EventTruth {
  int chn = 0;
  int partition = 0;
  int file_no = 0;              // 1-based, as in the file table; NAS: stored in file<file_no - 1>
  int event_no = 0;             // 1-based position in the file's event table
  EventState state = EventState::Closed;
  PackedTime start = 0;
  PackedTime end = 0;           // stored end time
  uint64_t type_mask = 0;
  uint32_t data_start = 0;
  uint32_t data_size = 0;       // stored data_size
  uint32_t iframe_top = 0;      // one past the event's oldest key-frame entry
  uint32_t last_iframe_pos = 0; // the event's newest key-frame entry (stored value)
  uint32_t moarea_start = 0;
  uint32_t moarea_end = 0;      // stored value
  uint8_t skip_flag = 0;
  uint16_t stored_event_no = 0; // the event_no field as stored (differs when deliberately wrong)
  uint32_t stream_size = 0;     // bytes of frames on disk from data_start
  std::vector<KeyFrame> kframes;      // oldest first (empty when keep_truth is off)
  std::vector<PackedTime> motion;     // times of its motion records (cells: motion_cells)
  // What stream() needs to rebuild the stored bytes: frames first_frame ..
  // first_frame + frame_count - 1 of a recording whose frame n is stamped
  // origin_usec + n * 10^6 / fps; the event's frame closing_frame (counted
  // from its first) is its closing key frame, -1 when the power cut came first.
  RecordOptions opts;
  int64_t origin_usec = 0;
  uint32_t first_frame = 0;
  uint32_t frame_count = 0;
  int32_t closing_frame = -1;
};

struct PictureOptions {
  uint64_t type_mask = kManual;
  uint8_t status = 1;           // 2 = deleted
  uint32_t extra_word = 0;      // carried to the host unchanged
  uint8_t extra_byte = 0;
  uint16_t extra_half = 0;
};

struct PictureTruth {
  int chn = 0;
  int partition = 0;
  int file_no = 0;              // 1-based
  int index = 0;                // 0 = the first picture of its file (record nearest the file end)
  PackedTime time = 0;
  uint32_t offset = 0;          // data-file offset of the picture bytes
  uint32_t length = 0;
  uint32_t record_pos = 0;      // data-file offset of its 48-byte picture record
  PictureOptions opts;
};

struct LabelOptions {
  uint8_t state = 1;            // 1 valid, 2 deleted; anything else is stored as given
  uint32_t extra_word1 = 0;
  uint32_t extra_word2 = 0;
  uint16_t extra_half = 0;
};

struct LabelTruth {
  int chn = 0;
  PackedTime time = 0;
  std::string text;             // at most 42 characters are stored
  int record_no = 0;            // 0..32766 across both halves
  LabelOptions opts;
};

// Where things lie. Index-area offsets are relative to a partition's index
// area; raw offsets are absolute image offsets.
struct Geometry {
  uint32_t file_size = 0;         // effective data-file size
  uint32_t event_table_size = 0;  // 16384 (256 events) or 32768 (512 events, 1 GiB files)
  uint32_t media_start = 0;       // first byte of media data in a data file
  uint32_t motion_end = 0;        // end of the motion area (it starts at 0x1000)
  uint32_t file_table_off = 0;
  uint32_t event_area_off = 0;
  uint32_t index_copy_size = 0;
  uint32_t data_area_start = 0;
  uint64_t label_area = 0;        // raw: offset of the label head; NAS: 0 in label0
  std::vector<uint64_t> part_base;  // raw: partition offsets; NAS: index area offset in index%d
  uint64_t total_bytes = 0;       // raw image size
  // Raw: absolute offset of data file `file_no` (1-based) of partition p.
  uint64_t data_file_base(int p, int file_no) const;
};

// How record_interrupted leaves the event when the power goes.
enum class Cut {
  KeyFramesWritten,  // 'EvWr', frames and key-frame entries up to the cut are on disk
  NoKeyFrameYet,     // 'EvWr' just opened: no frame, no key-frame entry
  EventClosed,       // the event was closed ('Even'); only the file is still open
  WrongEventNo,      // as KeyFramesWritten, but the entry's event_no disagrees with its position
};

// The 72 bytes of motion cells (a 24 x 24 grid, bit c of byte c / 8) that
// the recorder stores for channel chn at time t: three cells that move with time.
std::array<uint8_t, 72> motion_cells(int chn, PackedTime t);

class Writer;

class Recorder {
 public:
  // Builds the disk in memory (write it out with write_raw / write_nas).
  explicit Recorder(const DiskShape& shape);
  // Streams straight to a sparse raw image (shape.nas false) or a NAS directory.
  // Media goes out as it is recorded; the tables are written by finish() or
  // power_loss(), so a recorder destroyed without either leaves no tables.
  Recorder(const DiskShape& shape, const std::string& out_path);
  ~Recorder();
  Recorder(const Recorder&) = delete;
  Recorder& operator=(const Recorder&) = delete;

  // Records channel chn from `start` to `end` (inclusive: the frame at `end`
  // is the closing key frame). Events of a channel must not go back in time.
  // When a data file fills up (media area, key-frame index, motion area or
  // event table) the event is closed and continues as a new event in the next
  // free file, so one call may produce several events.
  std::vector<const EventTruth*> record(int chn, PackedTime start, PackedTime end,
                                        uint64_t type_mask, const RecordOptions& opts = {});

  // Starts an event on chn at `start` and leaves it as the power cut at `until`
  // found it (see Cut). The channel's file stays open; call power_loss() next
  // (or record more on other channels first).
  const EventTruth& record_interrupted(int chn, PackedTime start, PackedTime until,
                                       uint64_t type_mask, const RecordOptions& opts, Cut how);

  // Stores a snapshot of `bytes` bytes in the partition's picture file.
  const PictureTruth& snapshot(int chn, PackedTime time, uint32_t bytes,
                               const PictureOptions& opts = {});
  // Closes the picture file (as a restart of the recorder does); the next
  // snapshot opens a new one in the current partition.
  void close_picture_file();

  // Adds a label record (the label area holds 32767 of them).
  const LabelTruth& label(int chn, PackedTime time, const std::string& text,
                          const LabelOptions& opts = {});

  // New data files are taken from partition p from now on.
  void use_partition(int p);

  // States a recorder leaves behind, applied when the disk is written out.
  void set_disk_state(uint8_t state);                 // e.g. 3: left in a bad state
  void set_partition_state(int p, uint8_t state);     // e.g. 2: bad, in every index copy
  void set_repair_flag(int p, bool on);               // forces the flag either way
  // Overwrites bytes of index copy k of partition p after all copies are written.
  void damage_index_copy(int p, int k, uint32_t offset, const std::vector<uint8_t>& bytes);

  // Clean shutdown: closes every open file and writes all indexes.
  void finish();
  // Power cut: open files stay open, their events as they were; partitions
  // with open files get their repair flag; all indexes are written as they stood.
  void power_loss();
  // The power cut, followed by the repair a mount makes of it, as the
  // recorder's formats say it must come out: per partition, in file-table
  // order, each open record file has its event being written closed at its
  // last key frame (or removed when it has none), its event_no put right, and
  // is closed with the next end_sequence (state 4); then each open picture
  // file gets its summary from its picture records and the next end_sequence
  // (its state and its head copy stay as the cut left them); the time ranges
  // are rebuilt and the repair flag cleared. The repair writes the two lowest
  // usable index copies; the others keep what the cut left. The truth records
  // show the repaired events.
  void power_loss_repaired();

  // In-memory recorders only, after finish() or power_loss().
  void write_raw(const std::string& path) const;
  void write_nas(const std::string& dir) const;

  const DiskShape& shape() const;
  const Geometry& geometry() const;
  const std::deque<EventTruth>& events() const;
  const std::deque<PictureTruth>& pictures() const;
  const std::deque<LabelTruth>& labels() const;

  // The exact stored bytes of an event from data_start (stream_size bytes:
  // frame headers, payloads, reference-frame padding).
  std::vector<uint8_t> stream(const EventTruth& ev) const;
  std::vector<uint8_t> picture_bytes(const PictureTruth& pic) const;

 private:
  std::unique_ptr<Writer> w_;
};

}  // namespace rec
