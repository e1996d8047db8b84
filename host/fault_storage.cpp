#include "fault_storage.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <vector>

#include "disk_alias.h"

namespace rfs_host {

namespace {

struct FaultState {
    StorageOps inner;
    std::vector<FaultRule> rules;
    FaultCounts counts;
    bool power_loss = false;
    uint64_t last_applied_write = 0;
    uint64_t torn = 0; // sectors of write last_applied_write + 1 that land
    std::vector<FaultWrite> writes;
    std::map<int, std::string> paths; // descriptor -> path given to open
};

FaultState &state() {
    static FaultState s;
    return s;
}

bool ends_with(const std::string &s, const std::string &tail) {
    return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

bool file_matches(const std::string &want, const std::string &path) {
    return want.empty() || ends_with(path, want) || ends_with(resolve_alias(path), want);
}

const std::string &path_of(int fd) {
    static const std::string unknown;
    auto it = state().paths.find(fd);
    return it == state().paths.end() ? unknown : it->second;
}

// The first rule that picks this call, or null. `nr` is the call's number.
const FaultRule *find_rule(FaultOp op, const std::string &path, uint64_t nr, uint32_t len,
                           int64_t offset) {
    for (const FaultRule &r : state().rules) {
        if (r.op != op || !file_matches(r.file, path)) continue;
        if (r.call != 0 && r.call != nr) continue;
        if (op != FaultOp::open && !(offset < r.to && offset + int64_t(len) > r.from)) continue;
        return &r;
    }
    return nullptr;
}

int fail_with(int err) {
    ++state().counts.failed;
    errno = err;
    return -1;
}

uint32_t shortened(const FaultRule &r, uint32_t len) {
    ++state().counts.failed;
    if (r.action == FaultAction::tear) return len / 2;
    return len == 0 ? 0 : std::min(r.keep, len - 1);
}

int open_file(const char *path, int flags) {
    FaultState &s = state();
    uint64_t nr = ++s.counts.opens;
    std::string p = path ? path : "";
    if (const FaultRule *r = find_rule(FaultOp::open, p, nr, 0, 0)) return fail_with(r->err);
    int fd = s.inner.open(path, flags);
    if (fd >= 0) s.paths[fd] = p;
    return fd;
}

int fault_open(const char *path, int flags) {
    return without_exceptions([&] { return open_file(path, flags); });
}

int fault_close(int fd) {
    ++state().counts.closes;
    state().paths.erase(fd);
    return state().inner.close(fd);
}

// One read or write: a matching rule fails or shortens it, otherwise it
// reaches the wrapped storage whole. move(n) passes the first n bytes on.
template <typename Move>
int checked_transfer(FaultOp op, uint64_t nr, int fd, uint32_t len, int64_t offset, uint64_t &bytes,
                     Move move) {
    const FaultRule *r = find_rule(op, path_of(fd), nr, len, offset);
    if (r && r->action == FaultAction::fail) return fail_with(r->err);
    uint32_t n = r ? shortened(*r, len) : len;
    int moved = n == 0 && r ? 0 : move(n);
    if (moved > 0) bytes += uint64_t(moved);
    return moved;
}

int fault_read(int fd, void *buf, uint32_t len, int64_t offset) {
    return without_exceptions([&] {
        FaultState &s = state();
        // The part of the buffer a shortened read did not fill is scribbled
        // over, so that stale bytes there cannot pass for the disk's.
        return checked_transfer(FaultOp::read, ++s.counts.reads, fd, len, offset, s.counts.bytes_read,
                                [&](uint32_t n) {
                                    std::memset(static_cast<char *>(buf) + n, 0xA5, len - n);
                                    return s.inner.read(fd, buf, n, offset);
                                });
    });
}

// The sectors of the write in flight that the torn mask lets through.
void apply_torn(int fd, const void *buf, uint32_t len, int64_t offset, uint64_t torn) {
    const auto *bytes = static_cast<const uint8_t *>(buf);
    int64_t end = offset + int64_t(len);
    int64_t sector = offset / kFaultSectorSize * kFaultSectorSize;
    for (int i = 0; sector < end && i < 64; ++i, sector += kFaultSectorSize) {
        if (!(torn >> i & 1)) continue;
        int64_t from = std::max(offset, sector), to = std::min(end, sector + int64_t(kFaultSectorSize));
        state().inner.write(fd, bytes + (from - offset), uint32_t(to - from), from);
    }
}

int fault_write(int fd, const void *buf, uint32_t len, int64_t offset) {
    return without_exceptions([&] {
        FaultState &s = state();
        uint64_t nr = ++s.counts.writes;
        s.writes.push_back(FaultWrite{path_of(fd), offset, len});
        if (s.power_loss && nr > s.last_applied_write) {
            if (nr == s.last_applied_write + 1 && s.torn) apply_torn(fd, buf, len, offset, s.torn);
            ++s.counts.writes_dropped;
            return int(len);
        }
        return checked_transfer(FaultOp::write, nr, fd, len, offset, s.counts.bytes_written,
                                [&](uint32_t n) { return s.inner.write(fd, buf, n, offset); });
    });
}

int fault_sync(int fd) {
    FaultState &s = state();
    ++s.counts.syncs;
    if (s.power_loss && s.counts.writes > s.last_applied_write) return 0;
    return s.inner.sync(fd);
}

} // namespace

void fault_wrap(const StorageOps &inner) {
    FaultState &s = state();
    s.inner = inner;
    s.paths.clear();
    fault_clear_rules();
    fault_reset_counts();
}

StorageOps fault_ops() { return {fault_open, fault_close, fault_read, fault_write, fault_sync}; }

int fault_install(const StorageOps &inner) {
    fault_wrap(inner);
    return install(fault_ops());
}

void fault_add(const FaultRule &rule) { state().rules.push_back(rule); }

void fault_clear_rules() {
    state().rules.clear();
    state().power_loss = false;
}

void fault_power_loss_after(uint64_t nth_write, uint64_t torn) {
    state().power_loss = true;
    state().last_applied_write = nth_write;
    state().torn = torn;
}

const FaultCounts &fault_counts() { return state().counts; }

void fault_reset_counts() {
    state().counts = FaultCounts{};
    state().writes.clear();
}

const std::vector<FaultWrite> &fault_writes() { return state().writes; }

} // namespace rfs_host
