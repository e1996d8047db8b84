// The disks of one command, mounted in the library for the command's lifetime.
//
// A folder is a NAS disk, a file (image or device) a raw disk. The library has
// one storage mode for the whole process, so one command takes either kind but
// not both. Disks reach the library under short aliases (it keeps 63
// characters of a path), and storage goes through the copy-on-write overlay:
// repairs the library makes at mount stay in memory unless --write lets them
// reach the disk.
#pragma once

#include <string>
#include <vector>

namespace cli {

// Channels the library is set up for: the most a recorder can have.
constexpr int kMaxChannels = 512;

struct MountOptions {
    bool write = false;   // let the library's repairs reach the disk
    bool verbose = false; // library log lines and prints to stderr
};

class MountedDisks {
  public:
    // Mounts paths[i] in slot i. Throws UsageError for a bad set of paths and
    // ToolError when a disk does not mount.
    MountedDisks(const std::vector<std::string> &paths, const MountOptions &options);
    ~MountedDisks();
    MountedDisks(const MountedDisks &) = delete;
    MountedDisks &operator=(const MountedDisks &) = delete;

    int count() const { return int(paths_.size()); }
    const std::string &path(int id) const { return paths_[size_t(id)]; }
    const std::string &alias(int id) const { return aliases_[size_t(id)]; }
    bool nas() const { return nas_; }
    bool write() const { return write_; }

  private:
    void start_library(const MountOptions &options);
    void mount(int id);
    void release();

    std::vector<std::string> paths_;
    std::vector<std::string> aliases_;
    bool nas_ = false;
    bool write_ = false;
    int mounted_ = 0;
};

} // namespace cli
