// Process-wide state of the library: plain tables without locks, zero at load.
// The host serialises its calls.
#pragma once

#include <cstdint>

#include "rfs.h"

namespace rfs {

constexpr int kMaxDisks = 32;
constexpr int kMaxPartitions = 16;
constexpr int kSearchSessions = 64;
constexpr int kReadSessions = 64;
constexpr int kDiskGroups = 64;
constexpr int kMaxRecChn = 512;

// Repair end times handed out once per channel by rfs_get_repair_record_time.
struct RepairTimeEntry {
    uint64_t type_mask[2];
    RfsDateTime end_time[2];
    uint8_t count; // 0..2
    uint8_t unused[7];
};
static_assert(sizeof(RepairTimeEntry) == 40);

struct LabelListEntry {
    RfsLabel *list;
    uint32_t count;
};

// Recorder-side state of a recording in progress. Nothing in this library
// fills an entry; searches and seeks still consult the table.
struct RfsFdEntry {
    uint8_t in_use;
    int gfd;
    int fd_a;
    int fd_b;
    uint32_t cur_file;
    uint32_t cur_event;
    uint8_t event[64]; // index_event_info of the event being written
    int pos_a;
    int pos_b;
};

struct SearchSession {
    uint8_t state; // 0 free, 1 event session, 2 other (picture) session
    // Set anew at every claim, never 0 for a claimed session: whoever started
    // a search can tell it is still theirs after the host stopped it, or
    // rfs_exit freed it, and the handle went to another search.
    uint32_t serial;
    uint32_t earliest_start;
    uint32_t latest_end;
    uint8_t part_used[kMaxDisks][kMaxPartitions];
    // Five per-channel arrays of max_rec_chn entries, allocated by rfs_init.
    RfsEvent **event_list;
    RfsPic **pic_list;
    int32_t *data_len;
    int32_t *buf_len;
    int32_t *event_cursor; // -1 = before the first event
};

// Frees the event and picture lists of a session and empties its counts; the
// per-channel arrays themselves stay. Nothing happens without arrays.
void free_session_lists(SearchSession &s);

struct ReadSession {
    uint8_t state;  // covered mark of the event being read
    uint8_t in_use;
    uint16_t event_id;
    int32_t chn;
    // -1 when none; so from load on, since a session left at zero would name
    // descriptor 0, which the library never opened, before the first rfs_init.
    int32_t iframe_fd = -1;
    uint32_t record_id;
    uint64_t base;
    uint32_t offset;
    uint32_t data_start;
    uint32_t data_size;
    int32_t cur_index;
    int32_t first_index; // newest key frame
    int32_t last_index;  // oldest key frame
    int32_t kf_phase;
    uint32_t last_ref_offset;
    uint8_t kf_done;
    uint8_t *index_cache; // 128 IframeIndexEntry records
    int32_t cache_first;
    int32_t cache_count;
};

// Closes the session's descriptor and frees its key-frame index cache,
// leaving it free as at load. It looks neither at in_use nor at the host:
// a seek on a session never started holds both too.
void release_read_session(ReadSession &s);

extern uint8_t g_nas_mode;
extern uint8_t g_rfs_inited;
extern int max_rec_chn;
extern int max_rec_nr;
extern RepairTimeEntry *g_repair_record_time;
extern LabelListEntry *g_label_list;
extern void *WriteStateTable[kDiskGroups];
extern RfsFdEntry *g_rfs_fd;
extern SearchSession g_search[kSearchSessions];
extern ReadSession g_read_session[kReadSessions];

inline bool nas_mode() { return g_nas_mode != 0; }

} // namespace rfs
