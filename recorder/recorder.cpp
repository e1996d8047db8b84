#include "recorder.h"

#include "frames.h"
#include "geometry.h"
#include "output.h"
#include "writer.h"

namespace rec {

namespace {

std::unique_ptr<Writer> memory_writer(const DiskShape& shape) {
  auto mem = std::make_unique<MemoryOutput>();
  MemoryOutput* raw = mem.get();
  return std::make_unique<Writer>(shape, std::move(mem), raw);
}

std::unique_ptr<Writer> file_writer(const DiskShape& shape, const std::string& path) {
  const Geometry g = make_geometry(shape);
  auto out = shape.nas ? make_nas_output(path, g, shape.files_per_partition, shape.labels)
                      : make_raw_output(path, g);
  return std::make_unique<Writer>(shape, std::move(out), nullptr);
}

}  // namespace

Recorder::Recorder(const DiskShape& shape) : w_(memory_writer(shape)) {}

Recorder::Recorder(const DiskShape& shape, const std::string& out_path)
    : w_(file_writer(shape, out_path)) {}

Recorder::~Recorder() = default;

std::vector<const EventTruth*> Recorder::record(int chn, PackedTime start, PackedTime end,
                                                uint64_t type_mask, const RecordOptions& opts) {
  return w_->record(chn, start, end, type_mask, opts);
}

const EventTruth& Recorder::record_interrupted(int chn, PackedTime start, PackedTime until,
                                               uint64_t type_mask, const RecordOptions& opts,
                                               Cut how) {
  return w_->record_interrupted(chn, start, until, type_mask, opts, how);
}

const PictureTruth& Recorder::snapshot(int chn, PackedTime time, uint32_t bytes,
                                       const PictureOptions& opts) {
  return w_->snapshot(chn, time, bytes, opts);
}

void Recorder::close_picture_file() { w_->close_picture_file(); }

const LabelTruth& Recorder::label(int chn, PackedTime time, const std::string& text,
                                  const LabelOptions& opts) {
  return w_->label(chn, time, text, opts);
}

void Recorder::use_partition(int p) { w_->use_partition(p); }
void Recorder::set_disk_state(uint8_t state) { w_->set_disk_state(state); }
void Recorder::set_partition_state(int p, uint8_t state) { w_->set_partition_state(p, state); }
void Recorder::set_repair_flag(int p, bool on) { w_->set_repair_flag(p, on); }
void Recorder::damage_index_copy(int p, int k, uint32_t offset,
                                 const std::vector<uint8_t>& bytes) {
  w_->damage_index_copy(p, k, offset, bytes);
}

void Recorder::finish() { w_->finish(); }
void Recorder::power_loss() { w_->power_loss(); }
void Recorder::power_loss_repaired() { w_->power_loss_repaired(); }

void Recorder::write_raw(const std::string& path) const {
  auto out = make_raw_output(path, w_->geometry());
  w_->replay(*out);
}

void Recorder::write_nas(const std::string& dir) const {
  const DiskShape& s = w_->shape();
  if (!s.nas) throw std::logic_error("write_nas needs a NAS-formatted disk (shape.nas)");
  auto out = make_nas_output(dir, w_->geometry(), s.files_per_partition, s.labels);
  w_->replay(*out);
}

const DiskShape& Recorder::shape() const { return w_->shape(); }
const Geometry& Recorder::geometry() const { return w_->geometry(); }
const std::deque<EventTruth>& Recorder::events() const { return w_->events(); }
const std::deque<PictureTruth>& Recorder::pictures() const { return w_->pictures(); }
const std::deque<LabelTruth>& Recorder::labels() const { return w_->labels(); }

std::vector<uint8_t> Recorder::stream(const EventTruth& ev) const {
  return rebuild_stream(ev, w_->shape().seed, w_->shape().headers_only);
}

std::vector<uint8_t> Recorder::picture_bytes(const PictureTruth& pic) const {
  return w_->picture_bytes(pic);
}

}  // namespace rec
