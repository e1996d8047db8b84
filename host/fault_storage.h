// A storage layer for tests that wraps another set of operations (the POSIX
// ones or the overlay), counts every call and fails I/O on demand.
//
// Rules pick calls and say what happens to them:
//  - an operation (open, read or write);
//  - a file: the path given to open, or the real path behind a disk alias,
//    equal to `file` or ending in it ("index0", "/file3"); empty = any file;
//  - a byte range [from, to) that the call's [offset, offset + len) overlaps
//    (reads and writes only; the default covers everything);
//  - a call number: the N-th call of that operation, counted from 1 since the
//    last fault_reset_counts() (0 = any call).
// A matching call either fails (result -1 with errno `err`, EIO unless set;
// nothing reaches the wrapped storage), is shortened (only the first
// min(keep, len - 1) bytes are passed on, so the caller sees a short count;
// for a write, exactly those bytes are applied) or is torn (the first half of
// its bytes are passed on: a write torn part-way). The rest of the buffer of a
// shortened or torn read is overwritten. The first matching rule wins.
//
// Power loss: after fault_power_loss_after(n), writes numbered above n are
// not applied but report success, and sync reports success, as a writer sees
// it when the machine dies under it with its data still in flight. Reads keep
// going to the wrapped storage, so they see the disk as it was at the loss; a
// test clears the power loss and mounts again to find that state. Disks tear
// a write in flight at sector granularity: with a `torn` mask, the write
// numbered n + 1 applies only the 512-byte sectors it names (bit i: the i-th
// sector the write touches, counted from the one holding its first byte) and
// is lost for the rest.
#pragma once

#include <cerrno>
#include <cstdint>
#include <string>
#include <vector>

#include "storage_ops.h"

namespace rfs_host {

enum class FaultOp { open, read, write };
enum class FaultAction { fail, shorten, tear };

struct FaultRule {
    FaultOp op = FaultOp::read;
    FaultAction action = FaultAction::fail;
    std::string file;
    int64_t from = 0;
    int64_t to = INT64_MAX;
    uint64_t call = 0;
    uint32_t keep = 0;
    int err = EIO;
};

constexpr uint32_t kFaultSectorSize = 512;

// One write that reached the wrapper (recorded whether or not it was applied).
struct FaultWrite {
    std::string path; // as given to open
    int64_t offset;
    uint32_t len;
    // The sectors it touches.
    uint32_t sectors() const {
        return uint32_t((offset + len - 1) / kFaultSectorSize - offset / kFaultSectorSize + 1);
    }
};

struct FaultCounts {
    uint64_t opens = 0, closes = 0, reads = 0, writes = 0, syncs = 0;
    uint64_t bytes_read = 0, bytes_written = 0; // bytes reported moved
    uint64_t failed = 0;                        // calls failed or shortened by a rule
    uint64_t writes_dropped = 0;                // writes lost to a power loss
};

// Wraps `inner` (which stays in use until the next fault_wrap). Clears rules,
// power loss and counts.
void fault_wrap(const StorageOps &inner);
// The wrapper's five operations; fault_install = fault_wrap + install.
StorageOps fault_ops();
int fault_install(const StorageOps &inner);

void fault_add(const FaultRule &rule);
void fault_clear_rules(); // also ends a power loss
void fault_power_loss_after(uint64_t nth_write, uint64_t torn = 0);

const FaultCounts &fault_counts();
void fault_reset_counts();

// Every write since the last fault_reset_counts(), in order.
const std::vector<FaultWrite> &fault_writes();

} // namespace rfs_host
