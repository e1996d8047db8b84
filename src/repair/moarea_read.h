// Motion records of events merged into time segments for a host's area mask.
#pragma once

#include <cstdint>

#include "frame/buffer.h"
#include "rfs.h"

namespace rfs {

struct disk_info_t;

constexpr uint32_t kMoareaChunk = 0x14000; // 1024 records a read

// The segments of one call, handed to the host in `out`.
class SegmentList {
  public:
    explicit SegmentList(MoareaResult *out) : out_(out) { *out_ = MoareaResult{}; }
    // A new segment from a record's first eight bytes; false (list freed, out
    // emptied) when memory runs out.
    bool append(const uint8_t *record);
    void lengthen(uint32_t seconds) { out_->segments[out_->count - 1].duration += seconds; }
    void drop();

  private:
    MoareaResult *out_;
    int32_t capacity_ = 0;
};

struct MotionQuery {
    const uint8_t *mask; // 72 bytes
    int min_gap;
    SegmentList *segments;
    MallocBuffer *chunk; // kMoareaChunk bytes
};

// Reads the motion records of event e (in the mounted disk d) and merges the
// ones that touch the mask into segments. `covered` is the search session's
// copy of the event's covered mark, checked before each chunk. 0, or -13
// open failed ("open %s err\n" logged by the caller), -31 short read, -24
// covered, -12 no memory.
int read_event_motion(const RfsEvent &e, const disk_info_t &d, const uint8_t *covered,
                      const MotionQuery &q);

// The mounted disk holding e's data file, or null when the disk, partition
// or file is not there.
disk_info_t *moarea_disk(const RfsEvent &e);

} // namespace rfs
