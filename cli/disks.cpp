#include "disks.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "disk_alias.h"
#include "errors.h"
#include "index_copy_view.h"
#include "overlay_storage.h"
#include "partition_report.h"
#include "problems.h"
#include "rfs.h"

namespace cli {

namespace {

// The library's latest log lines, kept to say why a disk did not mount, and
// passed on to stderr with --verbose.
struct LibraryLog {
    bool verbose = false;
    std::vector<std::string> lines;
    LibraryLines *watch = nullptr;
};

LibraryLog &library_log() {
    static LibraryLog log;
    return log;
}

void on_log_line(const char *line, void *) {
    LibraryLog &log = library_log();
    if (log.verbose) fputs(line, stderr);
    if (log.lines.size() >= 64) log.lines.erase(log.lines.begin());
    log.lines.push_back(line);
    if (log.watch) log.watch->add(line);
}

// What the library prints to stdout and reports through perror: shown only
// with --verbose, and then on stderr, never mixed into what scripts read.
void on_library_output(int, const char *text, void *) {
    if (library_log().verbose) fputs(text, stderr);
}

// Why the library refused a parameter block: its own words for a block that
// fails the check, without the time prefix ("not valid rfs format,
// check_sum:0x...!=0x..."); a block that could not be read at all is logged
// with the write text, so it is said plainly here.
std::string format_complaint() {
    for (const std::string &line : library_log().lines) {
        size_t at = line.find("not valid rfs format");
        if (at == std::string::npos) continue;
        std::string text = line.substr(at);
        while (!text.empty() && text.back() == '\n') text.pop_back();
        return text;
    }
    return "its disk parameter block (272 bytes at byte 128) cannot be read";
}

// 0 when the parameter block at `path` is valid; the library's complaint
// otherwise.
std::string block_complaint(const std::string &path) {
    library_log().lines.clear();
    return rfs_format_is_valid(path.c_str()) == 0 ? "" : format_complaint();
}

// NAS: the block is read from index0 whenever index0 opens. A valid block
// in another index file is found by checking each file on its own, as the
// raw mode reads a block (at byte 128 of the file it is given). Only done
// before anything is mounted: the storage mode is process-wide.
int other_valid_block(const std::string &alias) {
    int found = -1;
    rfs_set_nas_mode(0);
    for (int k = 1; k < 4 && found < 0; ++k)
        if (block_complaint(alias + "/index" + std::to_string(k)).empty()) found = k;
    rfs_set_nas_mode(1);
    return found;
}

// The system's reason a disk cannot be read at all ("Permission denied"),
// or "" when it can. A NAS disk needs at least one index file that opens.
std::string open_failure(const std::string &path, bool nas) {
    std::string first;
    for (int k = 0; k < (nas ? 4 : 1); ++k) {
        std::string name = nas ? path + "/index" + std::to_string(k) : path;
        int fd = open(name.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd >= 0) {
            close(fd);
            return "";
        }
        if (first.empty()) first = (nas ? "index" + std::to_string(k) + ": " : "") + system_reason(errno);
    }
    return "cannot open " + first;
}

// The library names disks by their aliases ("/rfs/d0/file3"); the user knows
// them by their paths.
std::string with_real_paths(std::string text) {
    for (size_t at = text.find("/rfs/d"); at != std::string::npos; at = text.find("/rfs/d", at + 1)) {
        size_t end = text.find_first_of(" ,;:()\t", at);
        std::string alias = text.substr(at, end == std::string::npos ? std::string::npos : end - at);
        std::string real = rfs_host::resolve_alias(alias);
        text.replace(at, alias.size(), real);
        at += real.size() - 1;
    }
    return text;
}

// Why the label-head load of a mount failed, from the mount's log lines; ""
// when it loaded or the disk has no label area. The load logs "label pos:"
// once its area opens and "======labelHead:" when it is done; it fails
// before, on, or after reading the head. The mount then logs "ret = N".
std::string label_head_failure_line(const LibraryLines &lines) {
    const std::vector<std::string> &l = lines.lines();
    bool opened = false, head_read = false;
    for (size_t i = 0; i < l.size(); ++i) {
        if (l[i].rfind("======labelHead:", 0) == 0) return "";
        if (l[i] == "get label head err!" || l[i] == "read chn32 label head info failed") return l[i];
        opened |= l[i].rfind("label pos:", 0) == 0;
        head_read |= l[i].rfind("labelHead:", 0) == 0;
        bool open_failed = l[i].rfind("open file ", 0) == 0 && i + 1 < l.size() && l[i + 1].rfind("ret = ", 0) == 0;
        if (!opened && open_failed) return l[i];
    }
    return head_read ? "err (no memory for a label half)" : "";
}

} // namespace

LibraryLines::LibraryLines() : outer_(library_log().watch) { library_log().watch = this; }

LibraryLines::~LibraryLines() { library_log().watch = outer_; }

void LibraryLines::add(const std::string &line) {
    if (outer_) outer_->add(line);
    if (lines_.size() >= kMaxLines) return;
    size_t at = line.find("] "); // after the time prefix "[YYYY-MM-DD HH:MM:SS] "
    std::string text = line.substr(line[0] == '[' && at != std::string::npos ? at + 2 : 0);
    while (!text.empty() && text.back() == '\n') text.pop_back();
    lines_.push_back(with_real_paths(text));
}

std::string LibraryLines::find(const std::string &text) const {
    for (const std::string &line : lines_)
        if (line.find(text) != std::string::npos) return line;
    return "";
}

std::vector<Option> disk_options(std::vector<Option> more) {
    more.insert(more.end(), {{"--write"}, {"--verbose"}, {"--strict"}, {"--index-copy", true}});
    return more;
}

MountOptions mount_options(const Args &args) {
    MountOptions o;
    o.write = args.has("--write");
    o.verbose = args.has("--verbose");
    problems().set_strict(args.has("--strict"));
    if (args.has("--index-copy")) {
        const std::string &k = args.value("--index-copy");
        if (k.size() != 1 || k[0] < '0' || k[0] > '3') throw UsageError("bad index copy '" + k + "' (0 to 3)");
        if (o.write) throw UsageError("--index-copy shows another copy in memory; it does not go with --write");
        o.index_copy = k[0] - '0';
    }
    return o;
}

MountedDisks::MountedDisks(const std::vector<std::string> &paths, const MountOptions &options)
    : paths_(paths), write_(options.write) {
    check_paths();
    start_library(options);
    try {
        for (int id = 0; id < count(); ++id) mount(id, options.index_copy);
    } catch (...) {
        release();
        throw;
    }
    for (int id = 0; id < count(); ++id) report(id, options.report_repairs);
}

MountedDisks::~MountedDisks() { release(); }

void MountedDisks::check_paths() {
    if (paths_.empty()) throw UsageError("no disk given");
    if (paths_.size() > 32) throw UsageError("at most 32 disks at once");
    for (const std::string &p : paths_) guarded_.push_back(guard_disk(p));
    nas_ = guarded_[0].folder;
    for (size_t i = 0; i < guarded_.size(); ++i) {
        const GuardedDisk &g = guarded_[i];
        if (g.folder != nas_)
            throw UsageError("cannot mix NAS folders and raw images in one call: the library reads "
                             "one kind of disk per process ('" + paths_[0] + "' and '" + g.path + "')");
        for (size_t j = 0; j < i; ++j)
            if (guarded_[j].dev == g.dev && guarded_[j].ino == g.ino)
                throw UsageError("'" + guarded_[j].path + "' and '" + g.path + "' are the same disk");
    }
    for (const std::string &p : paths_)
        if (std::string why = open_failure(p, nas_); !why.empty()) throw ToolError(p + ": " + why);
}

void MountedDisks::start_library(const MountOptions &options) {
    library_log() = LibraryLog{options.verbose, {}, library_log().watch};
    rfs_set_log_sink(on_log_line, nullptr);
    rfs_set_output_sink(on_library_output, nullptr);
    rfs_host::overlay_set_write_through(options.write);
    rfs_host::install_overlay();
    rfs_set_nas_mode(nas_ ? 1 : 0);
    if (rfs_init(kMaxChannels, 1) != 0) throw ToolError("the library did not start");
}

void MountedDisks::mount(int id, int index_copy) {
    uint64_t before_mount = rfs_host::overlay_bytes_written();
    aliases_.push_back(rfs_host::alias_disk(path(id)));
    const std::string &alias = aliases_.back();
    if (index_copy >= 0) {
        std::string why = rfs_host::overlay_show_index_copy(alias, nas_, index_copy);
        if (!why.empty()) throw ToolError(path(id) + ": cannot show index copy " + std::to_string(index_copy) + ": " + why);
    }
    std::string complaint = block_complaint(alias);
    if (!complaint.empty()) {
        std::string text = path(id) + ": not an rfs disk: " + complaint;
        int other = nas_ && index_copy < 0 && mounted_ == 0 ? other_valid_block(alias) : -1;
        if (other > 0)
            text = path(id) + ": the disk parameter block of index0 is not valid (" + complaint + "); index" +
                   std::to_string(other) + " holds a valid one: --index-copy " + std::to_string(other) + " reads it";
        throw ToolError(text);
    }
    uint64_t before_repair = rfs_host::overlay_bytes_written();
    view_bytes_ += before_repair - before_mount; // what --index-copy wrote into the overlay
    LibraryLines mount_lines;
    int rc = rfs_add_disk(id, alias.c_str(), 0, id, nullptr);
    if (rc != 0) throw ToolError(path(id) + ": mount failed: " + error_text(rc));
    label_failures_.push_back(label_head_failure_line(mount_lines));
    mounted_ = id + 1;
    repairs_.push_back(read_disk_repair(id, rfs_host::overlay_bytes_written() - before_repair));
}

void MountedDisks::report(int id, bool repairs) const {
    if (!nas_) report_short_image(id, path(id));
    report_partitions(id, path(id));
    if (repairs) report_repairs(id, path(id), repair(id), write_);
}

bool MountedDisks::closed_by_repair(const RfsEvent &ev) const {
    size_t disk = ev.record_id >> 24;
    return disk < repairs_.size() && repairs_[disk].closed(ev);
}

std::string MountedDisks::data_file(const RfsEvent &ev) const {
    int disk = int(ev.record_id >> 24);
    if (!nas_ || disk >= count()) return "";
    return path(disk) + "/file" + std::to_string(ev.record_id & 0xFFFF);
}

std::string MountedDisks::data_file_failure(const RfsEvent &ev) const {
    std::string name = data_file(ev);
    if (name.empty()) return "";
    int fd = open(name.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return "cannot open the data file " + name + ": " + system_reason(errno);
    close(fd);
    return "";
}

uint64_t MountedDisks::repaired_bytes() const { return rfs_host::overlay_bytes_written() - view_bytes_; }

void MountedDisks::release() {
    for (int id = 0; id < mounted_; ++id) rfs_remove_disk(id);
    mounted_ = 0;
    rfs_exit();
    rfs_set_log_sink(nullptr, nullptr);
    rfs_set_output_sink(nullptr, nullptr);
    rfs_host::clear_aliases();
    rfs_host::overlay_reset();
}

} // namespace cli
