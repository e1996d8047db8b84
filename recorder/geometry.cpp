#include "geometry.h"

#include <stdexcept>

namespace rec {

namespace {

uint64_t align_up(uint64_t v, uint64_t a) { return (v + a - 1) / a * a; }

void check_shape(const DiskShape& s) {
  if (s.partitions < 1 || s.partitions > 16)
    throw std::invalid_argument("partitions must be 1..16");
  if (s.nas && s.partitions != 1) throw std::invalid_argument("a NAS disk has one partition");
  if (s.files_per_partition < 1 || s.files_per_partition > 0xFFFF)
    throw std::invalid_argument("files_per_partition must be 1..65535");
  if (s.index_flags.size() > static_cast<size_t>(s.partitions))
    throw std::invalid_argument("more index flags than partitions");
}

}  // namespace

uint32_t effective_file_size(uint32_t size) {
  return size == kFile256M || size == kFile512M || size == kFile1G ? size : kFile256M;
}

uint64_t Geometry::data_file_base(int p, int file_no) const {
  return part_base.at(p) + data_area_start + static_cast<uint64_t>(file_no - 1) * file_size;
}

Geometry make_geometry(const DiskShape& s) {
  check_shape(s);
  Geometry g;
  g.file_size = effective_file_size(s.data_file_size);
  const bool big = g.file_size != kFile256M;
  g.event_table_size = g.file_size == kFile1G ? 32768 : 16384;
  g.media_start = big ? 0x1800000 : 0x400000;
  g.motion_end = big ? 0x800000 : 0x200000;
  const uint64_t files = s.files_per_partition;
  g.file_table_off = kFileTableOffset;
  g.event_area_off = static_cast<uint32_t>(align_up(g.file_table_off + files * 336, 0x1000));
  g.index_copy_size =
      static_cast<uint32_t>(align_up(g.event_area_off + files * g.event_table_size, 0x10000));
  g.data_area_start = static_cast<uint32_t>(align_up(4ull * g.index_copy_size, 0x100000));
  if (s.nas) {
    g.label_area = 0;
    g.part_base.push_back(kNasIndexAreaOffset);
    g.total_bytes = files * g.file_size;
    return g;
  }
  g.label_area = s.labels ? kRawLabelArea : 0;
  const uint64_t span = align_up(g.data_area_start + files * g.file_size, 0x100000);
  for (int p = 0; p < s.partitions; ++p) g.part_base.push_back(kRawFirstPartition + p * span);
  g.total_bytes = g.part_base.back() + span;
  return g;
}

}  // namespace rec
