// Pieces shared by the read-session calls: the per-session cache of the
// key-frame index, the block reader behind rfs_read and the key-frame calls,
// and the key-frame seek both time seeks run.
//
// Key-frame index geometry: entry n lies at byte n * 32 of the data file, the
// index grows downward from the file's end, so the newest key frame of an
// event has the lowest index number. The cache holds the 4 KB block of 128
// entries starting at (n & ~127).
#pragma once

#include <cstdint>

#include "disk/layout.h"
#include "frame/state.h"
#include "rfs.h"

namespace rfs {

struct disk_info_t;

constexpr int kEntriesPerBlock = 128;
constexpr uint32_t kIndexBlockSize = 4096;
constexpr uint32_t kMediaAlign = 4096;

// ---- Key-frame index cache (index_cache.cpp) ------------------------------

inline int32_t block_start(int32_t n) { return n & ~(kEntriesPerBlock - 1); }
inline uint64_t index_block_pos(const ReadSession &s, int32_t n) {
    return s.base + uint64_t(block_start(n)) * iframe_entry::kSize;
}
bool cache_holds(const ReadSession &s, int32_t n);
// The entry n, which the cache must hold.
const uint8_t *cached_entry(const ReadSession &s, int32_t n);
// Reads the block holding n into the cache; the raw count of the storage read
// (-1 when the session has no cache or n is negative). Only a whole block
// leaves the cache valid.
int read_index_block(ReadSession &s, int32_t n);
// Allocates the session's 4 KB cache on its first seek: 0 or -12 ("err\n").
int ensure_index_cache(ReadSession &s);

// ---- Session helpers (read_session.cpp) -----------------------------------

// End of the event's media data in the data file.
inline uint64_t event_data_end(const ReadSession &s) {
    return uint64_t(s.data_start) + s.data_size;
}
inline bool inside_event(const ReadSession &s, uint32_t pos) {
    return pos >= s.data_start && pos <= event_data_end(s);
}
// Moves the session to the data file record_id names: logs the change and
// closes the descriptor of another file. A seek in the same file keeps it.
void switch_data_file(ReadSession &s, uint32_t record_id);
// Drops the session's place in an event after its descriptor moved to another
// file (a picture read): reading and key-frame calls then report the end of
// the event until the next seek.
void forget_position(ReadSession &s);
// The disk, partition and data file record_id names, or null when one of
// them is not there.
disk_info_t *data_file_disk(uint32_t record_id);
// Start of the data file on the device (0 in NAS mode, one file per data file).
uint64_t data_file_base(const disk_info_t &d, uint32_t record_id);
// A storage read judged by the errno of its own failure, not a stale one.
int read_with_errno(int fd, void *buf, uint32_t len, uint64_t pos, int *err);

// ---- Block reader (block_read.cpp) ----------------------------------------

// Reads from the 4 KB boundary at or below the session's offset straight into
// buf and reports the lead-in in *head_skip. want is a frame length, or 0 for
// as much as len allows. Bytes that belong to the event, 0 at its end, or a
// negative code.
int block_read(int rd, ReadSession &s, void *buf, int len, unsigned *head_skip, int64_t want);

// ---- Key-frame seek (seek_walk.cpp) ---------------------------------------

struct SeekTarget {
    int32_t first; // index number of the event's newest key frame
    int32_t last;  // of its oldest
    int32_t start, end, seek; // packed times, compared as signed words
    int mode;                 // 1: at or before seek, 0: at or after
    bool from_key;            // the rules of the seek on a key record
    const char *disk_path;    // for the dropped-disk test (search events)
};

// Validates the event against the seek time and its data file: 0 or -10.
int check_seek_target(const SeekTarget &t, uint32_t data_start, uint32_t data_size,
                      uint32_t index_end, uint32_t file_size);
// Estimates and walks the key-frame index to the entry for the seek time;
// on success the cache holds it. The index number, or a negative code.
int find_key_frame(ReadSession &s, const SeekTarget &t);

// ---- Seek on a key record (event_opener.cpp) ------------------------------

// Opens the data file of the event `key` names and reads its stored event
// record into info (64 bytes). 0 or a negative code.
int open_key_event(ReadSession &s, const RfsEventKey &key, uint8_t *info);

} // namespace rfs
