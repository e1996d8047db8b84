#include "output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "geometry.h"

namespace rec {

namespace {

[[noreturn]] void fail(const std::string& what) {
  throw std::runtime_error(what + ": " + std::strerror(errno));
}

class Fd {
 public:
  Fd(const std::string& path, uint64_t size) : path_(path) {
    fd_ = ::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0644);
    if (fd_ < 0) fail("open " + path);
    if (::ftruncate(fd_, static_cast<off_t>(size)) != 0) fail("truncate " + path);
  }
  ~Fd() { ::close(fd_); }
  Fd(const Fd&) = delete;
  Fd& operator=(const Fd&) = delete;

  void pwrite_all(uint64_t off, const uint8_t* data, size_t len) {
    while (len > 0) {
      ssize_t n = ::pwrite(fd_, data, len, static_cast<off_t>(off));
      if (n <= 0) fail("write " + path_);
      data += n;
      off += static_cast<uint64_t>(n);
      len -= static_cast<size_t>(n);
    }
  }

 private:
  std::string path_;
  int fd_ = -1;
};

class RawOutput : public Output {
 public:
  RawOutput(const std::string& path, const Geometry& g) : g_(g), fd_(path, g.total_bytes) {}

  void write(const Loc& at, uint64_t off, const uint8_t* data, size_t len) override {
    switch (at.area) {
      case Area::Block:  // one block per raw disk: copies other than 0 have nowhere to go
        if (at.num == 0) fd_.pwrite_all(kBlockOffset + off, data, len);
        return;
      case Area::IndexCopy:
        fd_.pwrite_all(g_.part_base.at(at.part) + uint64_t{g_.index_copy_size} * at.num + off,
                       data, len);
        return;
      case Area::DataFile:
        fd_.pwrite_all(g_.data_file_base(at.part, at.num + 1) + off, data, len);
        return;
      case Area::Labels:
        fd_.pwrite_all(g_.label_area + off, data, len);
        return;
    }
  }

 private:
  Geometry g_;
  Fd fd_;
};

class NasOutput : public Output {
 public:
  NasOutput(const std::string& dir, const Geometry& g, int files, bool labels) : g_(g) {
    if (::mkdir(dir.c_str(), 0755) != 0 && errno != EEXIST) fail("mkdir " + dir);
    const uint64_t index_size = g.part_base[0] + g.index_copy_size;
    for (int k = 0; k < 4; ++k)
      index_.push_back(std::make_unique<Fd>(dir + "/index" + std::to_string(k), index_size));
    for (int n = 0; n < files; ++n)
      data_.push_back(std::make_unique<Fd>(dir + "/file" + std::to_string(n), g.file_size));
    if (labels) label_ = std::make_unique<Fd>(dir + "/label0", kLabelAreaSize);
  }

  void write(const Loc& at, uint64_t off, const uint8_t* data, size_t len) override {
    switch (at.area) {
      case Area::Block:
        index_.at(at.num)->pwrite_all(kBlockOffset + off, data, len);
        return;
      case Area::IndexCopy:
        index_.at(at.num)->pwrite_all(g_.part_base[0] + off, data, len);
        return;
      case Area::DataFile:
        data_.at(at.num)->pwrite_all(off, data, len);
        return;
      case Area::Labels:
        if (label_) label_->pwrite_all(off, data, len);
        return;
    }
  }

 private:
  Geometry g_;
  std::vector<std::unique_ptr<Fd>> index_;
  std::vector<std::unique_ptr<Fd>> data_;
  std::unique_ptr<Fd> label_;
};

bool all_zero(const uint8_t* p, size_t n) {
  return std::all_of(p, p + n, [](uint8_t b) { return b == 0; });
}

}  // namespace

void Output::write_sparse(const Loc& at, uint64_t off, const uint8_t* data, size_t len) {
  const size_t kPage = 4096;
  size_t run = 0;  // start of the pending run of non-zero pages
  size_t pos = 0;
  for (; pos < len; pos += kPage) {
    const size_t n = std::min(kPage, len - pos);
    if (!all_zero(data + pos, n)) continue;
    if (pos > run) write(at, off + run, data + run, pos - run);
    run = pos + n;
  }
  if (len > run) write(at, off + run, data + run, len - run);
}

std::unique_ptr<Output> make_raw_output(const std::string& path, const Geometry& g) {
  return std::make_unique<RawOutput>(path, g);
}

std::unique_ptr<Output> make_nas_output(const std::string& dir, const Geometry& g, int files,
                                        bool labels) {
  return std::make_unique<NasOutput>(dir, g, files, labels);
}

void MemoryOutput::write(const Loc& at, uint64_t off, const uint8_t* data, size_t len) {
  writes_.push_back(Write{at, off, std::vector<uint8_t>(data, data + len)});
}

void MemoryOutput::replay(Output& to) const {
  for (const Write& w : writes_) to.write(w.at, w.off, w.bytes.data(), w.bytes.size());
}

}  // namespace rec
