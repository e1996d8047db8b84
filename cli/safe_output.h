// The one way the tool writes a file (export now, extracted pictures later):
// evidence is never truncated, replaced or deleted.
//
//   OutputFile file(target, guarded, force);   // refuses, or creates the temporary file
//   file.write(data, size);                     // ...
//   file.commit();                              // flush, fsync, rename over the target
//
// The data goes to a new temporary file created exclusively beside the
// target (".NAME.rfs-PID-N"); only commit() renames it over the target. A
// file destroyed without commit() removes its temporary file and nothing
// else, so a failed run leaves an existing target as it was.
//
// check_output_target refuses, with RefusedOutput (exit 2, one line):
//  - a target that is one of the given disks, or lies inside a NAS disk's
//    folder (device and inode compared after resolving links);
//  - a target that exists and is not a regular file (a device, a folder);
//  - an existing file, unless `force` (which never allows the two above).
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>
#include <sys/types.h>
#include <vector>

namespace cli {

// A disk named on the command line, by device and inode.
struct GuardedDisk {
    std::string path;
    dev_t dev = 0;
    ino_t ino = 0;
    bool folder = false; // a NAS disk: nothing may be written inside it
};

// Throws ToolError when the path cannot be looked at.
GuardedDisk guard_disk(const std::string &path);

// The path the output will be written to (links resolved), or throws
// RefusedOutput.
std::string check_output_target(const std::string &target, const std::vector<GuardedDisk> &disks, bool force);

class OutputFile {
  public:
    OutputFile(const std::string &target, const std::vector<GuardedDisk> &disks, bool force);
    ~OutputFile();
    OutputFile(const OutputFile &) = delete;
    OutputFile &operator=(const OutputFile &) = delete;

    // Throws ToolError with the system's reason.
    void write(const void *data, size_t size);
    void commit();
    const std::string &target() const { return target_; }
    // For a writer that opens files by name (the recorder simulator): it
    // writes the temporary file, and commit() puts it in place as usual.
    const std::string &temp_path() const { return temp_; }

  private:
    [[noreturn]] void fail(const std::string &what);

    std::string target_; // links resolved
    bool replace_; // --force: an existing target is replaced
    std::string temp_;
    FILE *file_ = nullptr;
    bool committed_ = false;
};

} // namespace cli
