// Repair of a partition the recorder was writing when it stopped: its open
// record files are closed at their last key frame, its open picture files get
// their summary back, and its time ranges are rebuilt before the repair flag
// is cleared.
//
// Every step can be cut short by a power loss and is then done again by the
// next mount, to the same bytes. The rule that makes it so: a write that
// tells the next mount a step is done (an event's new magic, a file's
// end_sequence, the cleared repair flag) is the last write of that step and
// goes to the secondary index copy before the primary, which is the copy
// every mount reads.
#pragma once

#include <cstdint>

#include "disk/layout.h"

namespace rfs {

struct RepairContext {
    uint32_t min_end_sequence = 0xFFFFFFFFu; // smallest non-zero end_sequence (logged only)
    uint32_t max_end_sequence = 0;           // the next closed file gets one more
    int *fd = nullptr;        // the partition's index descriptor (raw: the device), the caller's
    int fd_copy = -1;         // NAS: the index file *fd has open
    int partition = 0;
    uint8_t *file_table = nullptr; // file_nr records of 336 bytes
    uint32_t file_nr = 0;
    DiskParamBlock *block = nullptr;
    PartitionRecord *part = nullptr;
    const char *path = nullptr;
    int last_chn = 0;         // channel of the file repaired last, for the log
    uint32_t files_closed = 0;
};

// 0 when all three steps succeeded, -1 otherwise (the caller marks the
// partition bad for this mount; the flag stays set on disk).
int repair_partition(DiskParamBlock *b, PartitionRecord *part, const char *path, int *fd, int p);

int repair_record_files(RepairContext &ctx);
// 0, -12 no memory, -1 NAS data file not opened, -14 short read, -7 write failed.
int repair_picture_files(RepairContext &ctx);
// 0, or -7 when the partition record cannot be written.
int rewrite_partition_times(RepairContext &ctx);

// ---- Shared pieces (repair_io.cpp) ---------------------------------------

// Index-area access through the context's descriptor; in NAS mode the
// descriptor follows the primary copy when a recovery moved it.
int repair_index_read(RepairContext &ctx, uint64_t off, void *buf, uint32_t len);
int repair_index_write(RepairContext &ctx, uint64_t off, const void *buf, uint32_t len);
int repair_index_commit(RepairContext &ctx, uint64_t off, const void *buf, uint32_t len);

// Writes a file record whose summary is rebuilt (end_sequence included, in
// `rec`) so that the file counts as closed only once every byte of it is on
// both copies: first the record with end_sequence still open, then
// end_sequence alone, a 4-byte write no sector boundary can tear. 0 or -1.
int write_closed_file_record(RepairContext &ctx, uint32_t k, const uint8_t *rec);

// One data file of the partition: the device in raw mode (through the index
// descriptor), its own file in NAS mode (opened read-write here).
class RepairDataFile {
  public:
    RepairDataFile() = default;
    ~RepairDataFile();
    RepairDataFile(const RepairDataFile &) = delete;
    RepairDataFile &operator=(const RepairDataFile &) = delete;

    // File k (0-based). False when the NAS file cannot be opened.
    bool open(const RepairContext &ctx, uint32_t k);
    int fd() const { return fd_; }
    uint64_t base() const { return base_; } // start of the file on the device, 0 in NAS mode
    void note_written() { written_ = true; }

  private:
    void close();
    int fd_ = -1;
    int owned_ = -1;
    uint64_t base_ = 0;
    bool written_ = false;
};

// Sets bit (day - 1) of day-map word b for every type bit b the recorder's
// 32-bit shift marks: bit b % 32 of the low word, and words 31 and 63 for
// any bit of the high word. Words 32..63 repeat words 0..31; day 0 sets bit 31.
void add_to_day_map(uint8_t *rec, uint32_t start, uint64_t type_mask);

// first := t when first is 0, or t is non-zero and earlier; last := the later.
void widen_range(uint32_t *first, uint32_t *last, uint32_t start, uint32_t end);

} // namespace rfs
