// Where the recorder's bytes go. The recorder writes to logical places (the
// disk parameter block, an index copy of a partition, a data file, the label
// area); an Output maps them onto a raw image or the files of a NAS directory,
// or keeps them in memory.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "recorder.h"

namespace rec {

enum class Area { Block, IndexCopy, DataFile, Labels };

struct Loc {
  Area area = Area::Block;
  int part = 0;  // partition (IndexCopy, DataFile)
  int num = 0;   // Block, IndexCopy: index copy k; DataFile: 0-based file number
  bool operator<(const Loc& o) const {
    return std::tie(area, part, num) < std::tie(o.area, o.part, o.num);
  }
};

class Output {
 public:
  virtual ~Output() = default;
  virtual void write(const Loc& at, uint64_t off, const uint8_t* data, size_t len) = 0;
  // Writes `len` bytes but skips 4 KiB pages that are all zero, so large,
  // mostly empty tables keep the output sparse.
  void write_sparse(const Loc& at, uint64_t off, const uint8_t* data, size_t len);
};

// A raw image file: one sparse file of the disk's full size.
std::unique_ptr<Output> make_raw_output(const std::string& path, const Geometry& g);
// A NAS directory: index0..3, file%d of the full data-file size, label0.
std::unique_ptr<Output> make_nas_output(const std::string& dir, const Geometry& g,
                                        int files, bool labels);

// Keeps every write in memory, in order; replay() repeats them on another
// output, so later writes win exactly as they did on the disk.
class MemoryOutput : public Output {
 public:
  void write(const Loc& at, uint64_t off, const uint8_t* data, size_t len) override;
  void replay(Output& to) const;

 private:
  struct Write {
    Loc at;
    uint64_t off;
    std::vector<uint8_t> bytes;
  };
  std::vector<Write> writes_;
};

}  // namespace rec
