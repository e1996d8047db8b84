#include "safe_output.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

#include "errors.h"

namespace cli {

namespace {

namespace fs = std::filesystem;

bool same_file(const struct stat &st, const GuardedDisk &d) { return st.st_dev == d.dev && st.st_ino == d.ino; }

[[noreturn]] void refuse(const std::string &target, const std::string &why) {
    throw RefusedOutput("refusing to write '" + target + "': " + why);
}

// The folder the file will be created in, as the system resolves it.
std::string real_parent(const std::string &resolved) {
    fs::path parent = fs::path(resolved).parent_path();
    return parent.empty() ? "." : parent.string();
}

// Refuses a folder chain from `dir` up to the root that passes through a NAS
// disk's folder.
void refuse_inside_nas(const std::string &target, const std::string &dir, const std::vector<GuardedDisk> &disks) {
    std::error_code ec;
    fs::path p = fs::canonical(dir, ec);
    if (ec) refuse(target, "its folder cannot be looked at: " + ec.message());
    for (;; p = p.parent_path()) {
        struct stat st;
        if (stat(p.c_str(), &st) == 0)
            for (const GuardedDisk &d : disks)
                if (d.folder && same_file(st, d)) refuse(target, "it lies inside the NAS disk '" + d.path + "'");
        if (p == p.parent_path()) return;
    }
}

} // namespace

GuardedDisk guard_disk(const std::string &path) {
    struct stat st;
    if (stat(path.c_str(), &st) != 0) throw ToolError(path + ": " + system_reason(errno));
    return {path, st.st_dev, st.st_ino, S_ISDIR(st.st_mode)};
}

std::string check_output_target(const std::string &target, const std::vector<GuardedDisk> &disks, bool force) {
    if (target.empty()) refuse(target, "an empty name");
    std::error_code ec;
    // Links resolved: "-o link-to-the-image" is the image.
    std::string resolved = fs::weakly_canonical(fs::absolute(target), ec).string();
    if (ec) resolved = target;
    struct stat st;
    bool exists = stat(resolved.c_str(), &st) == 0;
    if (exists) {
        for (const GuardedDisk &d : disks)
            if (same_file(st, d)) refuse(target, "it is the disk '" + d.path + "'");
    }
    refuse_inside_nas(target, real_parent(resolved), disks);
    struct stat link_st;
    if (!exists && lstat(target.c_str(), &link_st) == 0) refuse(target, "it is a link to nothing");
    if (!exists) return resolved;
    if (!S_ISREG(st.st_mode)) refuse(target, S_ISDIR(st.st_mode) ? "it is a folder" : "it is not a regular file");
    if (!force) refuse(target, "it exists (--force replaces it)");
    return resolved;
}

OutputFile::OutputFile(const std::string &target, const std::vector<GuardedDisk> &disks, bool force)
    : target_(check_output_target(target, disks, force)), replace_(force) {
    fs::path dest(target_);
    for (int n = 0; n < 100 && !file_; ++n) {
        temp_ = (dest.parent_path() / ("." + dest.filename().string() + ".rfs-" + std::to_string(getpid()) + "-" +
                                       std::to_string(n)))
                    .string();
        int fd = open(temp_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd < 0 && errno == EEXIST) continue;
        if (fd < 0) {
            int err = errno;
            temp_.clear();
            throw ToolError("cannot create a file beside " + target_ + ": " + system_reason(err));
        }
        file_ = fdopen(fd, "wb");
        if (!file_) {
            close(fd);
            fail("cannot write " + temp_);
        }
    }
    if (!file_) throw ToolError("cannot create a temporary file beside " + target_);
}

OutputFile::~OutputFile() {
    if (file_) fclose(file_);
    if (!committed_ && !temp_.empty()) unlink(temp_.c_str());
}

void OutputFile::fail(const std::string &what) {
    throw ToolError(what + ": " + system_reason(errno));
}

void OutputFile::write(const void *data, size_t size) {
    if (fwrite(data, 1, size, file_) != size) fail("cannot write " + target_);
}

void OutputFile::commit() {
    if (fflush(file_) != 0 || fsync(fileno(file_)) != 0) fail("cannot write " + target_);
    FILE *f = file_;
    file_ = nullptr;
    if (fclose(f) != 0) fail("cannot write " + target_);
    // Without --force a file that appeared since the check is not replaced
    // either: link() fails when the target exists.
    bool placed = replace_ ? rename(temp_.c_str(), target_.c_str()) == 0 : link(temp_.c_str(), target_.c_str()) == 0;
    if (!placed) fail("cannot put " + temp_ + " in place of " + target_);
    if (!replace_) unlink(temp_.c_str());
    committed_ = true;
    int dir = open(real_parent(target_).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dir >= 0) { // the rename itself reaches the disk; a folder that cannot sync is no failure
        fsync(dir);
        close(dir);
    }
}

} // namespace cli
