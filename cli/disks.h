// The disks of one command, mounted in the library for the command's lifetime.
//
// A folder is a NAS disk, a file (image or device) a raw disk. The library has
// one storage mode for the whole process, so one command takes either kind but
// not both, and the same disk may not be given twice. Disks reach the library
// under short aliases (it keeps 63 characters of a path), and storage goes
// through the copy-on-write overlay: repairs the library makes at mount stay
// in memory unless --write lets them reach the disk.
//
// What the mount leaves unreadable is reported to problems() (problems.h):
// an image shorter than its parameter block says, an unusable partition and
// why, a secondary index copy that disagrees with the primary; and what the
// mount repaired (mount_repairs.h), since every command then shows the
// repaired view rather than the disk as the recorder left it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "args.h"
#include "mount_repairs.h"
#include "rfs.h"
#include "safe_output.h"

namespace cli {

// Channels the library is set up for: the most a recorder can have.
constexpr int kMaxChannels = 512;

struct MountOptions {
    bool write = false;   // let the library's repairs reach the disk
    bool verbose = false; // library log lines, prints and perror lines to stderr
    int index_copy = -1;  // --index-copy K: show every partition as index copy K holds it
    bool report_repairs = true; // say what the mount repaired as problems (not when that is the answer)
};

// The options of every command that mounts disks: --write, --verbose,
// --strict, --index-copy K.
std::vector<Option> disk_options(std::vector<Option> more);
// Reads them (and hands --strict to problems()). Throws UsageError.
MountOptions mount_options(const Args &args);

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
    // The disks by device and inode, which no output may overwrite.
    const std::vector<GuardedDisk> &guarded() const { return guarded_; }
    // NAS: the data file that holds an event ("<folder>/file<N>"), "" for a
    // raw disk; and why it does not open, "" when it does.
    std::string data_file(const RfsEvent &ev) const;
    std::string data_file_failure(const RfsEvent &ev) const;
    // Bytes the library changed at mount (in memory, or on the disk with --write).
    uint64_t repaired_bytes() const;
    // What the mount of disk `id` repaired, with the bytes it wrote.
    const DiskRepair &repair(int id) const { return repairs_[size_t(id)]; }
    // True for an event that the mount's repair closed at its last key frame.
    bool closed_by_repair(const RfsEvent &ev) const;
    // The library's line when disk `id`'s label head could not be loaded at
    // mount (the disk mounts all the same, its labels then search as empty);
    // "" when it loaded.
    const std::string &label_head_failure(int id) const { return label_failures_[size_t(id)]; }

  private:
    void check_paths();
    void start_library(const MountOptions &options);
    void mount(int id, int index_copy);
    void report(int id, bool repairs) const;
    void release();

    std::vector<std::string> paths_;
    std::vector<std::string> aliases_;
    std::vector<GuardedDisk> guarded_;
    std::vector<DiskRepair> repairs_;
    std::vector<std::string> label_failures_;
    bool nas_ = false;
    bool write_ = false;
    int mounted_ = 0;
    uint64_t view_bytes_ = 0; // what --index-copy wrote into the overlay
};

// The library's log lines while it lives (without their time prefix and
// newline), for a command that turns some of them into problems.
class LibraryLines {
  public:
    LibraryLines();
    ~LibraryLines();
    LibraryLines(const LibraryLines &) = delete;
    LibraryLines &operator=(const LibraryLines &) = delete;
    const std::vector<std::string> &lines() const { return lines_; }
    // The first line that holds `text`, or "".
    std::string find(const std::string &text) const;
    void add(const std::string &line);

  private:
    static constexpr size_t kMaxLines = 4096; // a flood of lines is cut here
    std::vector<std::string> lines_;
    LibraryLines *outer_;
};

} // namespace cli
