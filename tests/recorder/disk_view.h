// Reads a raw rfs image the way a reader would, from the block's fields
// alone, so the recorder's own addressing is checked, not reused.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "recorder.h"
#include "support/temp_dir.h"

namespace rectest {

using Bytes = std::vector<uint8_t>;
inline uint32_t le32(const uint8_t* p) {
  return p[0] | p[1] << 8 | p[2] << 16 | uint32_t(p[3]) << 24;
}
inline uint16_t le16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | p[1] << 8); }
inline uint64_t le64(const uint8_t* p) { return le32(p) | uint64_t(le32(p + 4)) << 32; }
inline std::string tag(const uint8_t* p, size_t n = 4) {
  return std::string(reinterpret_cast<const char*>(p), n);
}

// Expects the little-endian 32-bit words of `b` at the given offsets.
inline void expect_words(const Bytes& b, std::initializer_list<std::pair<int, uint64_t>> want) {
  for (auto [off, v] : want) EXPECT_EQ(le32(&b[off]), v) << "word at byte " << off;
}

class File {
 public:
  explicit File(const std::string& path) : fd_(::open(path.c_str(), O_RDONLY)) {
    if (fd_ < 0) throw std::runtime_error("cannot open " + path);
  }
  ~File() { ::close(fd_); }
  File(const File&) = delete;
  Bytes read(uint64_t off, size_t len) const {
    Bytes b(len);
    if (::pread(fd_, b.data(), len, static_cast<off_t>(off)) != static_cast<ssize_t>(len))
      throw std::runtime_error("short read");
    return b;
  }
  uint64_t size() const { return static_cast<uint64_t>(::lseek(fd_, 0, SEEK_END)); }
  // Calls fn(offset, length) on each data range of a sparse file, 1 MiB at a time.
  template <typename Fn>
  void each_data_piece(Fn fn) const {
    for (off_t pos = 0, from; (from = ::lseek(fd_, pos, SEEK_DATA)) >= 0;)
      for (pos = ::lseek(fd_, from, SEEK_HOLE); from < pos; from += 1 << 20)
        fn(static_cast<uint64_t>(from), static_cast<size_t>(std::min<off_t>(pos - from, 1 << 20)));
  }
  // Same size and the same bytes in every data range of either sparse file.
  bool same_as(const File& o) const {
    bool same = size() == o.size();
    for (const File* f : {this, &o})
      f->each_data_piece([&](uint64_t from, size_t n) { same = same && read(from, n) == o.read(from, n); });
    return same;
  }

 private:
  int fd_;
};

inline void write_at(const std::string& path, uint64_t off, const Bytes& b) {
  int fd = ::open(path.c_str(), O_WRONLY);
  if (fd < 0 || ::pwrite(fd, b.data(), b.size(), static_cast<off_t>(off)) != static_cast<ssize_t>(b.size()))
    throw std::runtime_error("cannot write " + path);
  ::close(fd);
}

inline std::string slurp(const std::string& path) {
  File f(path);
  const Bytes b = f.read(0, f.size());
  return std::string(b.begin(), b.end());
}

// A raw image: index copy `copy` of each partition is the one read.
class RawDisk {
 public:
  explicit RawDisk(const std::string& path, int copy = 0)
      : f(path), b(f.read(128, 272)), copy_(copy) {}
  uint32_t file_size() const {  // unsupported values lay out as 256 MiB
    const uint32_t s = le32(&b[64]);
    return s == 0x20000000 || s == 0x40000000 ? s : 0x10000000;
  }
  uint64_t part_base(int p) const { return le64(&b[72 + 8 * p]); }
  uint64_t data_file(int p, int file_no) const {
    return part_base(p) + le32(&b[68]) + uint64_t(file_no - 1) * file_size();
  }
  Bytes index(int p, uint32_t off, size_t len) const {
    return f.read(part_base(p) + uint64_t(copy_) * le32(&b[216]) + off, len);
  }
  Bytes partition(int p) const { return index(p, 0, 40); }
  Bytes file_record(int p, int file_no) const {
    return index(p, le32(&b[20]) + 336 * (file_no - 1), 336);
  }
  Bytes event(int p, int file_no, int event_no) const {
    const uint32_t table = file_size() == 0x40000000 ? 32768 : 16384;
    return index(p, le32(&b[24]) + table * (file_no - 1) + 64 * (event_no - 1), 64);
  }
  Bytes data(int p, int file_no, uint32_t off, size_t len) const {
    return f.read(data_file(p, file_no) + off, len);
  }

  File f;
  Bytes b;  // the disk parameter block

 private:
  int copy_;
};

}  // namespace rectest
