// The label area of a disk: a 32-byte LabelHead, then two halves of 16384
// LabelRecords of 64 bytes from 0x400. A raw disk keeps it at the parameter
// block's label_area offset (0: the disk was not formatted for labels); a NAS
// disk keeps it in label0, from the file's start.
#pragma once

#include <cstdint>

#include "disk/layout.h"
#include "rfs.h"

namespace rfs {

struct disk_info_t;

// Labels are only ever read: the area is opened read-only.
constexpr int kLabelReadFlags = RFS_O_RDONLY;

// Whether the disk has a label area. A NAS disk's area is its label file
// (the block's label_area is not used there), a raw disk's lies at
// label_area when that is not 0.
bool has_label_area(const DiskParamBlock &b);

// Reads half h (kLabelHalfSize bytes) of the area open on fd into buf;
// false when it did not come back whole.
bool read_label_half(int fd, const DiskParamBlock &b, int half, uint8_t *buf);

// The label-head load of a mount: reads the head and, when it says there are
// labels, recomputes each half's earliest and latest valid label and the
// number of the Lend record from the records. 0, or -1 when the area cannot
// be opened or read (the caller then mounts the disk with a cleared head).
int load_label_head(const char *path, const DiskParamBlock *b, LabelHead *head);

// What a label search does with the halves it reads.
class LabelHalfVisitor {
  public:
    // Whether half h of a disk with this head is to be read.
    virtual bool wanted(const LabelHead &head, int half) = 0;
    // The kLabelsPerHalf records of one half read from disk d: 0 to go on,
    // or a negative code that ends the walk.
    virtual int on_half(const disk_info_t &d, const uint8_t *records) = 0;
    // Logs that the label area of d did not open.
    virtual void open_failed(const disk_info_t &d) = 0;

  protected:
    ~LabelHalfVisitor() = default;
};

// Reads the wanted halves of every mounted disk that has labels, in slot
// order. A disk in a bad state or without a label area is logged and passed
// over; one whose head says it has no labels (also a head that could not be
// loaded at mount) is passed over. 0, or -1 ("malloc failed\n", an area that
// does not open, "read err!\n") or the visitor's code.
int visit_label_halves(LabelHalfVisitor &visitor);

} // namespace rfs
