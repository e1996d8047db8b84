// Storage operations that remember the calls the library makes, and their
// replay through plain open / pread / close: the floor each measurement is
// compared with. The replay moves the same bytes at the same offsets of the
// same files, in the same order, and nothing else.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "storage_ops.h"

namespace bench {

struct StorageCall {
    enum Op { open, read, write, sync, close } op;
    int fd;           // the descriptor the library used
    std::string path; // open: the real path behind the library's name
    uint32_t len = 0;
    int64_t offset = 0;
};

struct Trace {
    std::vector<StorageCall> calls;
    uint64_t bytes = 0; // read or written
    uint64_t reads = 0;
    uint64_t writes = 0;
};

// Storage with recording around `inner`, installed with rfs_set_operate_cb;
// the same operations for callers other than the library.
void install_traced_storage(const rfs_host::StorageOps &inner);
rfs_host::StorageOps traced_ops();
void start_trace();
Trace stop_trace();

// The calls of a trace against the real files. Writes (and syncs) go to the
// same offsets of a scratch file, so the disk stays as it was.
class Replay {
  public:
    Replay(const Trace &trace, const std::string &scratch);
    ~Replay();
    Replay(const Replay &) = delete;
    Replay &operator=(const Replay &) = delete;
    void run();
    bool empty() const { return calls_.empty(); }

  private:
    std::vector<StorageCall> calls_;
    std::vector<int> fds_;         // library descriptor -> replay descriptor
    std::vector<int> initial_fds_; // opened for the whole replay (see the constructor)
    std::vector<uint8_t> buffer_;
    std::string scratch_path_;
    int scratch_fd_ = -1;
};

} // namespace bench
