// Reads a raw rfs image the way a reader would, from the block's fields
// alone, so the recorder's own addressing is checked, not reused.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace rectest {

inline uint32_t le32(const uint8_t* p) { return p[0] | p[1] << 8 | p[2] << 16 | uint32_t(p[3]) << 24; }
inline uint16_t le16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | p[1] << 8); }
inline uint64_t le64(const uint8_t* p) { return le32(p) | uint64_t(le32(p + 4)) << 32; }
inline std::string tag(const uint8_t* p) { return std::string(reinterpret_cast<const char*>(p), 4); }

class File {
 public:
  explicit File(const std::string& path) : fd_(::open(path.c_str(), O_RDONLY)) {
    if (fd_ < 0) throw std::runtime_error("cannot open " + path);
  }
  ~File() { ::close(fd_); }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  std::vector<uint8_t> read(uint64_t off, size_t len) const {
    std::vector<uint8_t> b(len);
    if (::pread(fd_, b.data(), len, static_cast<off_t>(off)) != static_cast<ssize_t>(len))
      throw std::runtime_error("short read");
    return b;
  }
  uint32_t u32(uint64_t off) const { return le32(read(off, 4).data()); }
  uint64_t size() const { return static_cast<uint64_t>(::lseek(fd_, 0, SEEK_END)); }
  // The ranges that hold data; the rest of a sparse file reads as zeros.
  std::vector<std::pair<uint64_t, uint64_t>> extents() const {
    std::vector<std::pair<uint64_t, uint64_t>> out;
    for (off_t pos = 0;;) {
      const off_t data = ::lseek(fd_, pos, SEEK_DATA);
      if (data < 0) break;
      pos = ::lseek(fd_, data, SEEK_HOLE);
      out.emplace_back(data, pos);
    }
    return out;
  }

 private:
  int fd_;
};

inline std::string slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

// Two sparse files hold the same bytes: compare every data range of either.
inline bool same_bytes(const std::string& a, const std::string& b) {
  File fa(a), fb(b);
  if (fa.size() != fb.size()) return false;
  for (const File* f : {&fa, &fb})
    for (auto [from, to] : f->extents())
      for (uint64_t off = from; off < to; off += 1 << 20) {
        const size_t n = static_cast<size_t>(std::min<uint64_t>(to - off, 1 << 20));
        if (fa.read(off, n) != fb.read(off, n)) return false;
      }
  return true;
}

struct Block {
  std::vector<uint8_t> b;
  uint32_t file_size() const {  // effective size: unsupported values lay out as 256 MiB
    const uint32_t s = le32(&b[64]);
    return s == 0x10000000 || s == 0x20000000 || s == 0x40000000 ? s : 0x10000000;
  }
  uint32_t table_size() const { return file_size() == 0x40000000 ? 32768 : 16384; }
  uint32_t file_table_off() const { return le32(&b[20]); }
  uint32_t event_area_off() const { return le32(&b[24]); }
  uint32_t copy_size() const { return le32(&b[216]); }
  uint64_t part_base(int p) const { return le64(&b[72 + 8 * p]); }
  uint64_t data_file(int p, int file_no) const {
    return part_base(p) + le32(&b[68]) + uint64_t(file_no - 1) * file_size();
  }
};

// A raw image: index copy `copy` of each partition is the one read.
class RawDisk {
 public:
  explicit RawDisk(const std::string& path, int copy = 0) : f(path), copy_(copy) {
    blk.b = f.read(128, 272);
  }
  std::vector<uint8_t> index(int p, uint32_t off, size_t len) const {
    return f.read(blk.part_base(p) + uint64_t(copy_) * blk.copy_size() + off, len);
  }
  std::vector<uint8_t> partition(int p) const { return index(p, 0, 40); }
  std::vector<uint8_t> file_record(int p, int file_no) const {
    return index(p, blk.file_table_off() + 336 * (file_no - 1), 336);
  }
  std::vector<uint8_t> event(int p, int file_no, int event_no) const {
    return index(p, blk.event_area_off() + blk.table_size() * (file_no - 1) + 64 * (event_no - 1), 64);
  }
  std::vector<uint8_t> data(int p, int file_no, uint32_t off, size_t len) const {
    return f.read(blk.data_file(p, file_no) + off, len);
  }

  File f;
  Block blk;

 private:
  int copy_;
};

}  // namespace rectest
