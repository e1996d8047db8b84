#pragma once

#include <stdlib.h>

#include <filesystem>
#include <string>

namespace rectest {

// A fresh directory under /tmp, removed with everything in it.
class TempDir {
 public:
  TempDir() {
    char name[] = "/tmp/rfs-rec-XXXXXX";
    path_ = ::mkdtemp(name);
  }
  ~TempDir() { std::filesystem::remove_all(path_); }
  std::string operator/(const std::string& leaf) const { return path_ + "/" + leaf; }

 private:
  std::string path_;
};

}  // namespace rectest
