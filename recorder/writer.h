// The recorder's engine behind rec::Recorder: the state of every partition,
// data file and channel, and the truth about everything written.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <vector>

#include "output.h"
#include "recorder.h"
#include "records.h"

namespace rec {

// One data file slot of a partition.
struct DataFile {
  int part = 0;
  int file_no = 0;         // 1-based
  uint8_t state = 0;       // 0 free, 1 being written, 2 closed
  FileType type = FileType::Record;
  uint16_t chn = 0;
  uint32_t end_sequence = 0;
  PackedTime month = 0;    // year and month of the file's first event
  // Write positions: next media (or picture) byte, lowest key-frame entry
  // (or picture record) with the end marker just below it, next motion record.
  uint32_t data_end = 0;
  uint32_t index_low = 0;
  uint32_t moarea_end = 0;
  std::vector<size_t> events;    // indexes into Writer::events_, in table order
  std::vector<size_t> pictures;  // indexes into Writer::pictures_, oldest first
  bool repaired = false;         // closed by the repair after a power cut
  Loc loc() const { return Loc{Area::DataFile, part, file_no - 1}; }
};

struct PartitionState {
  std::vector<DataFile> files;
  uint8_t state = 0;
  int forced_repair = -1;  // -1: as the shutdown leaves it
};

struct IndexDamage {
  int part, copy;
  uint32_t offset;
  std::vector<uint8_t> bytes;
};

class Writer {
 public:
  Writer(const DiskShape& shape, std::unique_ptr<Output> out, MemoryOutput* mem);

  std::vector<const EventTruth*> record(int chn, PackedTime start, PackedTime end,
                                        uint64_t type_mask, const RecordOptions& o);
  const EventTruth& record_interrupted(int chn, PackedTime start, PackedTime until,
                                       uint64_t type_mask, const RecordOptions& o, Cut how);
  const PictureTruth& snapshot(int chn, PackedTime time, uint32_t bytes,
                               const PictureOptions& o);
  void close_picture_file();
  const LabelTruth& label(int chn, PackedTime time, const std::string& text,
                          const LabelOptions& o);

  void use_partition(int p);
  void set_disk_state(uint8_t s) { check_open(); disk_state_ = s; }
  void set_partition_state(int p, uint8_t s);
  void set_repair_flag(int p, bool on);
  void damage_index_copy(int p, int k, uint32_t off, const std::vector<uint8_t>& bytes);

  void finish();
  void power_loss();
  void power_loss_repaired();
  void replay(Output& to) const;

  const DiskShape& shape() const { return shape_; }
  const Geometry& geometry() const { return g_; }
  const std::deque<EventTruth>& events() const { return events_; }
  const std::deque<PictureTruth>& pictures() const { return pictures_; }
  const std::deque<LabelTruth>& labels() const { return labels_; }
  std::vector<uint8_t> picture_bytes(const PictureTruth& p) const;

  // Used by the event and write-out code.
  Output& out() { return *out_; }
  const DataFile& file(int p, int file_no) const { return parts_[p].files[file_no - 1]; }
  EventTruth& new_event() { return events_.emplace_back(); }
  const EventTruth& event(size_t i) const { return events_[i]; }
  size_t event_count() const { return events_.size(); }

 private:
  void check_open() const;
  void check_chn(int chn) const;
  DataFile& take_free_file(FileType type, uint16_t chn);
  void close_file(DataFile& f);
  DataFile* record_file(int chn, PackedTime start, const RecordOptions& o);
  std::vector<const EventTruth*> record_span(int chn, PackedTime start, int64_t last_frame,
                                             uint64_t type_mask, const RecordOptions& o,
                                             Cut* cut);
  DataFile& picture_file(uint32_t bytes);
  void write_out(bool clean);
  void write_block();
  void write_index(int p, bool clean);
  std::vector<uint8_t> index_area(int p, bool clean, std::vector<FileFields>& files) const;
  void repair_partition(int p);
  void write_repaired(int p);
  void write_file_heads(const PartitionState& ps);
  void write_picmon(const DataFile& f);
  void write_labels();

  DiskShape shape_;
  Geometry g_;
  std::unique_ptr<Output> out_;
  MemoryOutput* mem_;  // the same object as out_ when building in memory
  std::vector<PartitionState> parts_;
  std::map<int, DataFile*> chan_file_;        // channel -> its open record file
  std::map<int, int64_t> chan_last_usec_;     // channel -> stamp of its last frame
  DataFile* pic_file_ = nullptr;
  std::deque<EventTruth> events_;
  std::deque<PictureTruth> pictures_;
  std::deque<LabelTruth> labels_;
  std::vector<IndexDamage> damage_;
  int cur_part_ = 0;
  uint32_t sequence_ = 0;
  uint8_t disk_state_ = 0;
  bool done_ = false;
  bool interrupted_ = false;  // record_interrupted was used
};

}  // namespace rec
