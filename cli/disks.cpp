#include "disks.h"

#include <cstdio>
#include <filesystem>

#include "console.h"
#include "disk_alias.h"
#include "errors.h"
#include "overlay_storage.h"
#include "rfs.h"

namespace cli {

namespace {

// True for a NAS folder, false for a raw image or device.
bool is_nas_disk(const std::string &path) {
    std::error_code ec;
    auto status = std::filesystem::status(path, ec);
    if (ec || !std::filesystem::exists(status)) throw ToolError(path + ": no such file or folder");
    return std::filesystem::is_directory(status);
}

void log_to_stderr(const char *line, void *) { fputs(line, stderr); }

} // namespace

MountedDisks::MountedDisks(const std::vector<std::string> &paths, const MountOptions &options)
    : paths_(paths), write_(options.write) {
    if (paths_.empty()) throw UsageError("no disk given");
    nas_ = is_nas_disk(paths_[0]);
    for (const std::string &p : paths_)
        if (is_nas_disk(p) != nas_)
            throw UsageError("cannot mix NAS folders and raw images in one call: the library reads "
                             "one kind of disk per process ('" + paths_[0] + "' and '" + p + "')");
    if (paths_.size() > 32) throw UsageError("at most 32 disks at once");
    start_library(options);
    try {
        for (int id = 0; id < count(); ++id) mount(id);
    } catch (...) {
        release();
        throw;
    }
}

MountedDisks::~MountedDisks() { release(); }

void MountedDisks::start_library(const MountOptions &options) {
    divert_library_output(options.verbose);
    rfs_set_log_sink(options.verbose ? log_to_stderr : nullptr, nullptr);
    rfs_host::overlay_set_write_through(options.write);
    rfs_host::install_overlay();
    rfs_set_nas_mode(nas_ ? 1 : 0);
    if (rfs_init(kMaxChannels, 1) != 0) throw ToolError("the library did not start");
}

void MountedDisks::mount(int id) {
    aliases_.push_back(rfs_host::alias_disk(path(id)));
    const char *alias = aliases_.back().c_str();
    if (rfs_format_is_valid(alias) != 0)
        throw ToolError(path(id) + ": not an rfs disk (no valid disk parameter block)");
    int rc = rfs_add_disk(id, alias, 0, id, nullptr);
    if (rc != 0) throw ToolError(path(id) + ": mount failed: " + error_text(rc));
    mounted_ = id + 1;
}

void MountedDisks::release() {
    for (int id = 0; id < mounted_; ++id) rfs_remove_disk(id);
    mounted_ = 0;
    rfs_exit();
    rfs_set_log_sink(nullptr, nullptr);
    rfs_host::clear_aliases();
    rfs_host::overlay_reset();
}

} // namespace cli
