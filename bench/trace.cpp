#include "trace.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>

#include "disk_alias.h"
#include "posix_storage.h"

namespace bench {

namespace {

rfs_host::StorageOps g_inner = rfs_host::posix_ops();
bool g_recording = false;
Trace g_trace;
std::vector<std::string> g_paths; // descriptor -> real path, kept while it is open

const std::string &path_of(int fd) {
    static const std::string none;
    return fd >= 0 && size_t(fd) < g_paths.size() ? g_paths[size_t(fd)] : none;
}

void note(StorageCall call) {
    if (!g_recording) return;
    if (call.op == StorageCall::read) ++g_trace.reads;
    if (call.op == StorageCall::write) ++g_trace.writes;
    if (call.op == StorageCall::read || call.op == StorageCall::write) g_trace.bytes += call.len;
    g_trace.calls.push_back(std::move(call));
}

int traced_open(const char *path, int flags) {
    int fd = g_inner.open(path, flags);
    if (fd < 0) return fd;
    if (size_t(fd) >= g_paths.size()) g_paths.resize(size_t(fd) + 1);
    g_paths[size_t(fd)] = rfs_host::resolve_alias(path);
    note({StorageCall::open, fd, g_paths[size_t(fd)]});
    return fd;
}

int traced_close(int fd) {
    note({StorageCall::close, fd, {}});
    return g_inner.close(fd);
}

int traced_read(int fd, void *buf, uint32_t len, int64_t offset) {
    note({StorageCall::read, fd, path_of(fd), len, offset});
    return g_inner.read(fd, buf, len, offset);
}

int traced_write(int fd, const void *buf, uint32_t len, int64_t offset) {
    note({StorageCall::write, fd, path_of(fd), len, offset});
    return g_inner.write(fd, buf, len, offset);
}

int traced_sync(int fd) {
    note({StorageCall::sync, fd, {}});
    return g_inner.sync(fd);
}

} // namespace

rfs_host::StorageOps traced_ops() {
    return {traced_open, traced_close, traced_read, traced_write, traced_sync};
}

void install_traced_storage(const rfs_host::StorageOps &inner) {
    g_inner = inner;
    rfs_host::install(traced_ops());
}

void start_trace() {
    g_trace = {};
    g_recording = true;
}

Trace stop_trace() {
    g_recording = false;
    return std::move(g_trace);
}

// A descriptor the library opened before the trace began (a read session's
// data file) cost the library nothing during the trace: it is opened here,
// once, by the path it had then. Writes go to a scratch file of their own.
Replay::Replay(const Trace &trace, const std::string &scratch) : calls_(trace.calls) {
    uint32_t longest = 0;
    int top = 0;
    for (const StorageCall &c : calls_) {
        longest = std::max(longest, c.len);
        top = std::max(top, c.fd);
    }
    buffer_.resize(longest);
    initial_fds_.assign(size_t(top) + 1, -1);
    std::vector<bool> opened(initial_fds_.size());
    for (const StorageCall &c : calls_) {
        size_t fd = size_t(c.fd);
        if (c.op == StorageCall::open) opened[fd] = true;
        if (opened[fd] || c.op == StorageCall::close) continue;
        initial_fds_[fd] = ::open(c.path.c_str(), O_RDONLY | O_CLOEXEC);
        opened[fd] = true;
    }
    if (trace.writes > 0) {
        scratch_path_ = scratch;
        scratch_fd_ = ::open(scratch.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        if (scratch_fd_ < 0) throw std::runtime_error("replay: cannot make " + scratch);
    }
}

Replay::~Replay() {
    for (int fd : initial_fds_)
        if (fd >= 0) ::close(fd);
    if (scratch_fd_ >= 0) {
        ::close(scratch_fd_);
        ::unlink(scratch_path_.c_str());
    }
}

void Replay::run() {
    fds_ = initial_fds_;
    for (const StorageCall &c : calls_) {
        int &fd = fds_[size_t(c.fd)];
        switch (c.op) {
        case StorageCall::open:
            fd = ::open(c.path.c_str(), O_RDONLY | O_CLOEXEC);
            break;
        case StorageCall::read:
            if (::pread(fd, buffer_.data(), c.len, c.offset) < 0)
                throw std::runtime_error("replay: read failed");
            break;
        case StorageCall::write:
            if (::pwrite(scratch_fd_, buffer_.data(), c.len, c.offset) < 0)
                throw std::runtime_error("replay: write failed");
            break;
        case StorageCall::sync:
            ::fsync(scratch_fd_);
            break;
        case StorageCall::close:
            if (fd != initial_fds_[size_t(c.fd)]) ::close(fd);
            fd = -1;
            break;
        }
    }
}

} // namespace bench
