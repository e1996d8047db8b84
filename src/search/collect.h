// The searches that fill a session's per-channel event lists.
#pragma once

#include <cstdint>

#include "frame/buffer.h"
#include "rfs.h"
#include "search/scan.h"

namespace rfs {

// The scratch of a collection: the first pass's per-channel counts, one
// partition's file table and one event batch. A search that collects many
// times (one day after another) allocates it once.
class CollectScratch {
  public:
    // Logs "malloc index_file_info err\n" / "malloc index_event_info err\n"
    // and returns -12 when a buffer cannot be had, else 0.
    int allocate();
    int32_t *snapshot() const { return reinterpret_cast<int32_t *>(snapshot_.data()); }
    ScanBuffers &buffers() { return buffers_; }

  private:
    MallocBuffer snapshot_;
    ScanBuffers buffers_;
};

// Collects the stored events that match `param` from every mounted disk into
// session `handle`: disks of groups 0..31 first, then 32..63, where an event
// already spanned by first-pass events of its channel is dropped. Lists are
// appended to, sorted by start time then channel. 0 or a negative code; on
// failure what was stored stays in the session.
int collect_events(uint32_t handle, const RfsSearchParam *param);
// The same with scratch the caller allocated.
int collect_events(uint32_t handle, const RfsSearchParam *param, CollectScratch &scratch);

// Runs the collection one day at a time, from the day of param's end (or of
// the newest recording, when the end lies after it) backwards, until channel
// 0 holds `num` events or the oldest recording (or the caller's start) is
// passed; days no mounted partition's record range meets are stepped over
// without a collection. Rewrites param's start and end. 0 or -1.
int find_recent_events(uint32_t handle, RfsSearchParam *param, int32_t num);

} // namespace rfs
