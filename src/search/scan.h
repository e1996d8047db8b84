// The common scan over the mounted disks: every disk of the visited groups,
// every usable partition whose time range meets the search, the partition's
// file table, and the event tables of the selected data files, read 40 files
// at a time through the partition's primary index copy. Searches plug in as a
// visitor that sees each selected file and each selected stored event.
#pragma once

#include <cstddef>
#include <cstdint>

#include "disk/registry.h"
#include "frame/buffer.h"
#include "frame/time.h"

namespace rfs {

constexpr int kEventBatchFiles = 40;

// How a partition's time range is tested against the search.
enum class RangeTest {
    overlap, // the range meets [start, end]
    month,   // the month of `start` lies within the range's months (calendar)
};

struct ScanSettings {
    // The range and data type of a request; everything else as below.
    static ScanSettings of(const RfsSearchParam &p) {
        ScanSettings s;
        s.start = pack_time(p.start);
        s.end = pack_time(p.end);
        s.data_type = p.data_type;
        return s;
    }

    PackedTime start = 0; // S, inclusive
    PackedTime end = 0;   // E, inclusive
    // 0 record files (record time range of a partition), 1 picture files
    // (picture time range); a partition is skipped for any other value.
    uint8_t data_type = 0;
    // -1 visits every disk; 0 or 1 only the disks whose gfd / 32 is that
    // (a collection pass), the others passed over without a log line.
    int pass = -1;
    RangeTest range_test = RangeTest::overlap;
    // Files: channel bitmap (chnCnt, chnBit); null = every channel. With the
    // overlap test a file must also meet [start, end].
    const RfsSearchParam *channel_filter = nullptr;
    // Events: record_type / integratedRecType; null = any type.
    const RfsSearchParam *type_filter = nullptr;
    bool skip_zero_length = false; // events whose start equals their end
    bool list_skipped = false;     // also events with skip_flag 1 (extension)
    bool read_events = true;       // false: the visitor sees file records only
    bool log_batches = true;       // the "event_buf" / "read_event" lines
    // An index copy that does not open is recovered from its partner and the
    // open retried (event searches); false ends the scan at once with -13
    // (the picture search).
    bool recover_on_open = true;
};

struct ScanFile {
    disk_info_t *disk;
    int partition;
    int index;             // record index in the file table (record_id bits 0..15)
    const uint8_t *record; // its index_file_info
    int index_fd;          // the open primary index copy (raw: the device itself)
};

// What a visitor answers; a negative code ends the scan with that code.
constexpr int kScanNext = 0;      // go on (after on_file: with the file's events)
constexpr int kScanLeaveFile = 1; // pass over the (rest of the) file's events
constexpr int kScanStop = 2;      // the search has what it needs: end the scan now

class ScanVisitor {
  public:
    virtual int on_file(const ScanFile &file) = 0;
    virtual int on_event(const ScanFile &file, int k, const uint8_t *event) = 0;

  protected:
    ~ScanVisitor() = default;
};

// Per-search scratch: one partition's file table and one event batch.
class ScanBuffers {
  public:
    // Logs "malloc index_file_info err\n" / "malloc index_event_info err\n"
    // and returns -12 when a buffer cannot be had, else 0.
    int allocate(bool with_events);

    uint8_t *file_table() const { return file_table_.data(); }
    size_t file_records() const { return file_records_; }
    uint8_t *batch() const { return batch_.data(); }
    size_t batch_bytes() const { return batch_.size(); }

  private:
    MallocBuffer file_table_;
    size_t file_records_ = 0;
    MallocBuffer batch_;
};

struct ScanResult {
    int code = 0;             // 0 or a negative error
    // Not every disk was visited: no usable index copy, no data files
    // mounted, or the visitor stopped the scan.
    bool ended_early = false;
};

ScanResult run_scan(const ScanSettings &settings, ScanBuffers &buffers, ScanVisitor &visitor);

// The data file of a scanned file record, for the visitors that read inside
// it (picture tables, PicMon_ blocks). On a raw disk it is read through the
// scan's index descriptor (the device); in NAS mode it is a file of its own.
//
// Where byte `off` of the data file lies for the descriptor that reads it.
uint64_t data_file_pos(const ScanFile &file, uint64_t off);
// NAS mode: opens the data file read-only. On failure prints the runtime's
// error, logs "open %s/%d err\n" and, when the disk is gone, "%s is drop\n";
// the result is then negative.
int open_scan_data_file(const ScanFile &file);

// The search's record-type test of one stored type mask: a shared bit with
// record_type, or an integratedRecType entry all of whose bits it has (an
// entry of 0 takes every event).
bool record_type_matches(const RfsSearchParam &param, uint64_t type);

// Channel c is selected when c < chnCnt and its bit in chnBit is set.
bool channel_selected(const RfsSearchParam &param, uint32_t chn);

} // namespace rfs
