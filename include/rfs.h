/*
 * rfs.h - access to the record file system of a multi-channel video recorder.
 *
 * The library mounts recorder disks (raw images or NAS directories), searches
 * their recordings, and streams media, pictures, labels and motion data. It
 * never opens a file itself: the host installs five storage operations with
 * rfs_set_operate_cb() before anything else, and every byte goes through them.
 *
 * Every export returns an int: 0 (or a handle, a byte count, or 64 for a search
 * that used no session) on success, a negative RFS_ERR_* code on failure.
 * The host serialises its calls; the library takes no locks.
 */
#ifndef RFS_H
#define RFS_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define RFS_API __attribute__((visibility("default")))
#else
#define RFS_API
#endif

#if defined(__GNUC__)
#define RFS_PRINTF(fmt_index, first_arg) __attribute__((format(printf, fmt_index, first_arg)))
#else
#define RFS_PRINTF(fmt_index, first_arg)
#endif

/* Nothing the library raises crosses its boundary: C++ hosts see every
 * export as noexcept (the storage operations a host installs must not throw
 * either). */
#ifdef __cplusplus
#define RFS_NOEXCEPT noexcept
#else
#define RFS_NOEXCEPT
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Result codes ------------------------------------------------------ */

#define RFS_OK 0
#define RFS_ERR_FAILED (-1)          /* generic failure; not initialised; not found */
#define RFS_ERR_NO_READ_SESSION (-2) /* no free read session */
#define RFS_ERR_HANDLE (-4)          /* handle above 63, or read session not in use */
#define RFS_ERR_NO_DISK (-6)         /* disk slot empty, or no data files mounted */
#define RFS_ERR_INDEX_WRITE (-7)     /* index write failed */
#define RFS_ERR_TIME (-10)           /* invalid time, time outside the event; disk id >= 32 */
#define RFS_ERR_NULL (-11)           /* null buffer or pointer argument */
#define RFS_ERR_NO_MEMORY (-12)      /* out of memory */
#define RFS_ERR_OPEN (-13)           /* open failed, or the disk was dropped */
#define RFS_ERR_INDEX_READ (-14)     /* index or picture table read failed */
#define RFS_ERR_DATA_READ (-15)      /* media data read failed */
#define RFS_ERR_KFRAME_INDEX (-16)   /* key-frame index block unreadable */
#define RFS_ERR_NO_SEARCH_SESSION (-17) /* no free search session */
#define RFS_ERR_SEARCH_HANDLE (-18)  /* search handle not in use, or not a picture search */
#define RFS_ERR_SEARCH_TYPE (-19)    /* bad search_type */
#define RFS_ERR_NO_EVENTS (-20)      /* the channel has no events in the session */
#define RFS_ERR_SEEK_NOT_FOUND (-21) /* the seek found no event */
#define RFS_ERR_CHANNEL (-22)        /* channel out of range */
#define RFS_ERR_POSITION (-23)       /* position outside the list */
#define RFS_ERR_COVERED (-24)        /* the event's data was overwritten since the search */
#define RFS_ERR_BUFFER (-25)         /* frame longer than the buffer, or length not a multiple of 4096 */
#define RFS_ERR_AT_END (-26)         /* next at the end of the list */
#define RFS_ERR_AT_START (-27)       /* previous at the start of the list */
#define RFS_ERR_CURSOR (-28)         /* cursor outside the list */
#define RFS_ERR_DISK_GROUP (-30)     /* bad disk group */
#define RFS_ERR_MOAREA_READ (-31)    /* motion-area read failed */
#define RFS_ERR_MISSING (-32)        /* disk or partition missing */
#define RFS_ERR_UNSTABLE (-35)       /* the disk was lost or is unstable */

/* Value rfs_find_start returns for a search that used no session. */
#define RFS_NO_SESSION_HANDLE 64

/* ---- Storage operations ------------------------------------------------ */

/* Open flags passed to the host's open operation (the numbers of a low-level
 * open on the recorder's host runtime; a host layer translates them). */
#define RFS_O_RDONLY 0x0000
#define RFS_O_WRONLY 0x0001
#define RFS_O_RDWR 0x0002
#define RFS_O_BINARY 0x8000

/* read/write succeed only when they move exactly len bytes. The offset is
 * absolute within the object the descriptor names. */
typedef int (*rfs_open_t)(const char *path, int flags);
typedef int (*rfs_close_t)(int fd);
typedef int (*rfs_read_t)(int fd, void *buf, uint32_t len, int64_t offset);
typedef int (*rfs_write_t)(int fd, const void *buf, uint32_t len, int64_t offset);
typedef int (*rfs_sync_t)(int fd);

/* ---- Host-visible records --------------------------------------------- */

/* Wall-clock time as the recorder stored it; no zone. Byte 0 is never read
 * or written by a conversion. */
typedef struct RfsDateTime {
    uint8_t unused;
    uint8_t second;
    uint8_t minute;
    uint8_t hour;
    uint8_t day;   /* 1..31 */
    uint8_t month; /* 1..12 */
    uint16_t year; /* years since 2000 */
} RfsDateTime;

typedef struct RfsSearchParam {
    uint8_t data_type;   /* 0 recordings, 1 pictures, 2 labels */
    uint8_t search_type; /* 0 month, 1 day timeline, 2 merged list, 3 per-channel lists */
    uint8_t search_mode; /* 4 = most-recent-N search */
    uint8_t reserved;    /* extension flags: RFS_SEARCH_LIST_SKIPPED */
    int32_t chnCnt;
    uint64_t record_type;
    RfsDateTime start;
    RfsDateTime end; /* inclusive */
    uint32_t skip_zero_length;
    uint8_t *chnBit; /* channel c is bit (c % 8) of byte c / 8 */
    uint64_t *integratedRecType;
    uint32_t integratedRecTypeCount;
} RfsSearchParam;

typedef struct RfsEvent {
    uint64_t record_type;
    uint16_t list_chn; /* channel whose list holds it (0 in a merged search) */
    uint8_t handle;
    uint8_t covered;   /* 1 = the event's data has been overwritten */
    uint32_t sequence; /* index in its list after sorting */
    uint32_t record_id; /* disk slot << 24 | partition << 16 | file number */
    uint16_t chn;
    uint8_t stored_byte_a;
    uint8_t stored_byte_b;
    uint8_t status2;   /* stored skip_flag was 2 */
    uint8_t group_half; /* 0: disk group 0..31, 1: 32..63 */
    uint8_t skip_flag;  /* extension: the stored skip_flag (1 listed only with RFS_SEARCH_LIST_SKIPPED) */
    uint8_t reserved1[5];
    RfsDateTime start;
    RfsDateTime end;
    uint32_t data_start;
    uint32_t data_size;
    uint32_t iframe_index_end;   /* one past the oldest key-frame index entry */
    uint32_t iframe_index_begin; /* newest key-frame index entry */
    uint32_t stored_word28;      /* moarea_start */
    uint32_t stored_word56;      /* moarea_end */
    uint16_t event_id;
    uint8_t reserved2[6];
} RfsEvent;

/* Extension flag in RfsSearchParam.reserved: an event search also lists the
 * events the recorder flagged to leave out of every search (stored skip_flag
 * 1), each with RfsEvent.skip_flag 1. Without it such events are left out. */
#define RFS_SEARCH_LIST_SKIPPED 0x01

typedef struct RfsEventList {
    RfsEvent *list;
    int32_t count;
} RfsEventList;

/* Names an event for rfs_tseek_for_index without a search. */
typedef struct RfsEventKey {
    uint32_t unused0;
    uint32_t event_no;
    uint16_t file_no;
    uint8_t partition;
    uint8_t disk;
    uint32_t unused12;
    RfsDateTime start;
    RfsDateTime end;
} RfsEventKey;

/* One picture of a picture search (rfs_get_pic). status 2 marks a picture
 * the recorder deleted; it is listed all the same. */
typedef struct RfsPic {
    uint32_t type_lo;
    uint32_t type_hi;
    RfsDateTime time;
    uint16_t slot;
    uint8_t handle;
    uint8_t state; /* 1 = covered */
    uint32_t sequence;
    uint32_t record_id;
    uint16_t pic_chn;
    uint8_t zero30;
    uint8_t zero31;
    uint8_t status;
    uint8_t extra_byte;
    uint16_t table_index;
    uint32_t offset;
    uint32_t pic_length;
    uint32_t extra_word;
    uint8_t pass;
    uint8_t reserved49;
    uint16_t extra_half;
    uint8_t reserved52[4];
} RfsPic;

typedef struct RfsPicList {
    RfsPic *list;
    int32_t count;
} RfsPicList;

typedef struct RfsLabel {
    uint16_t chn;
    uint16_t extra_half;
    uint32_t unused4;
    RfsDateTime time;
    char text[40]; /* a text of 40 characters or more is cut there, unterminated */
    uint32_t extra_word1;
    uint32_t extra_word2;
} RfsLabel;

typedef struct RfsLabelList {
    RfsLabel *list;
    int32_t count;
} RfsLabelList;

/* Month calendar (rfs_find_start, search_type 0). Records: day_types[d] is
 * the mask of the record types found on day d + 1 (record type t counts when
 * record_type has bit t % 32 set; types 31 and 63 also on any bit from 31
 * up), channel_days[c] has bit d set when channel c recorded on day d.
 * Pictures: day_types[d] is 1 where a picture's stored day byte is d (so a
 * picture of the 5th marks entry 5; the 31st never shows). Labels:
 * day_types[d - 1] is 1 when a valid label is dated day d. */
typedef struct RfsMonthResult {
    uint64_t day_types[31];
    uint32_t channel_days[512];
} RfsMonthResult;

/* Day timeline (search_type 1): one word per half hour (slot = hour * 2 +
 * minute / 30), the OR of the low 32 bits of the record types of the events
 * that touch it. The library only ORs: the host clears it first. */
typedef struct RfsDaySlots {
    uint32_t slot[48];
} RfsDaySlots;

typedef struct MoareaSegment {
    RfsDateTime start;
    uint32_t duration; /* seconds */
    uint32_t unused;
} MoareaSegment;

typedef struct MoareaResult {
    MoareaSegment *segments;
    int32_t count;
} MoareaResult;

/* Optional third-party marks given when a disk is mounted. */
typedef struct AddDiskOptions {
    uint8_t unused;
    uint8_t mark_a;
    uint8_t mark_b;
} AddDiskOptions;

/* ---- Set-up and tear-down --------------------------------------------- */

RFS_API int rfs_set_operate_cb(rfs_open_t open_cb, rfs_close_t close_cb, rfs_read_t read_cb,
                               rfs_write_t write_cb, rfs_sync_t sync_cb) RFS_NOEXCEPT;
RFS_API int rfs_set_nas_mode(unsigned char mode) RFS_NOEXCEPT;
RFS_API int rfs_init(int max_rec_chn, int moarea_nums) RFS_NOEXCEPT;
RFS_API int rfs_exit(void) RFS_NOEXCEPT;

/* ---- Extensions ----------------------------------------------------------
 * Exports that the recorder's own library never had, for hosts that want more
 * than it offered. A host that uses none of them sees the behaviour above. */

/* Extension: hand every composed log line to a sink (NULL = silent, the
 * default: the library's log writes nowhere). */
typedef void (*rfs_log_sink_t)(const char *line, void *user);
RFS_API int rfs_set_log_sink(rfs_log_sink_t sink, void *user) RFS_NOEXCEPT;

/* Extension: what the library prints by default goes to the process's
 * standard output (a few diagnostic dumps and messages such as
 * "id is invalid!!!") and, for some failed storage accesses, through the
 * runtime's perror to standard error ("open disk:: No such file or
 * directory"). With a sink installed each print (RFS_OUTPUT_PRINT, the text
 * as it would be printed) and each perror line (RFS_OUTPUT_PERROR, "text:
 * reason
") goes to the sink instead. NULL restores the default. */
#define RFS_OUTPUT_PRINT 1
#define RFS_OUTPUT_PERROR 2
typedef void (*rfs_output_sink_t)(int kind, const char *text, void *user);
RFS_API int rfs_set_output_sink(rfs_output_sink_t sink, void *user) RFS_NOEXCEPT;

/* ---- Disks -------------------------------------------------------------- */

/* Mounts the disk at path (raw: the device or image; NAS: the directory) in
 * slot id (0..31). kind 1 or negative puts it in disk groups 32..63, whose
 * events and pictures already found on groups 0..31 are not listed again.
 * The disk's label head is loaded on the way: when the label area cannot be
 * opened or read, the disk still mounts (result 0) with its label head
 * cleared and a log line saying so, and its labels then search as empty.
 *
 * The library keeps 63 characters of a disk path (NAS: of the folder; it
 * composes "<path>/index0", "<path>/file12" from them). A longer path is
 * refused with -1 and the log line "disk path too long:...". A host with long
 * paths gives each disk a short name and maps it back in its open operation;
 * rfs_posix.h does that with the POSIX storage operations. */
RFS_API int rfs_add_disk(int id, const char *path, int kind, int group,
                         const AddDiskOptions *opts) RFS_NOEXCEPT;
RFS_API int rfs_remove_disk(int id) RFS_NOEXCEPT;
RFS_API int rfs_format_is_valid(const char *path) RFS_NOEXCEPT;
RFS_API int rfs_get_data_file_size(int id) RFS_NOEXCEPT;
RFS_API int rfs_get_disk_size(int id, uint32_t *total_mb, uint32_t *free_mb,
                              uint8_t *fs_type) RFS_NOEXCEPT;

/* Extension: one partition of a mounted disk as the library mounted it, and
 * how each of its four index copies reads now. */
#define RFS_COPY_SAME 0       /* "Part" record equal to the mounted one */
#define RFS_COPY_DIFFERS 1    /* a "Part" record that differs from the mounted one */
#define RFS_COPY_NO_MAGIC 2   /* read, but no "Part" magic */
#define RFS_COPY_UNREADABLE 3 /* cannot be opened or read */
typedef struct RfsPartitionInfo {
    uint8_t part_count;   /* partitions on the disk */
    uint8_t disk_state;   /* the disk's state after mount */
    uint8_t state;        /* 0/1 usable, 2 bad (set at mount when unreadable or not repaired) */
    uint8_t repair_flag;  /* 1: the recorder was writing it when it stopped */
    uint8_t index_flags;  /* bit k: index copy k usable; the lowest is the primary */
    uint8_t record_ok;    /* 1: the mounted partition record carries the "Part" magic */
    uint8_t copy_check[4]; /* RFS_COPY_* of index copy 0..3, whatever its flag */
    uint16_t file_nr;
    uint16_t free_file_nr;
    uint16_t reserved;
    RfsDateTime record_start, record_end; /* all zero: no recordings */
    RfsDateTime pic_start, pic_end;       /* all zero: no pictures */
} RfsPartitionInfo;
/* 0; -1 for an empty or out-of-range slot; RFS_ERR_MISSING for a partition
 * number outside 0 .. part_count - 1; RFS_ERR_NULL for a null out. */
RFS_API int rfs_get_partition_info(int id, int p, RfsPartitionInfo *out) RFS_NOEXCEPT;

/* ---- Search ------------------------------------------------------------- */

RFS_API int rfs_find_start(RfsSearchParam *param, void *out, int32_t num) RFS_NOEXCEPT;
RFS_API int rfs_find_stop(uint32_t handle) RFS_NOEXCEPT;
RFS_API int rfs_get_event(uint32_t handle, int32_t chn, RfsEventList *out) RFS_NOEXCEPT;
RFS_API int rfs_get_current_event(uint32_t handle, int32_t chn, RfsEvent *out) RFS_NOEXCEPT;
RFS_API int rfs_get_pre_event(uint32_t handle, int32_t chn, RfsEvent *out) RFS_NOEXCEPT;
RFS_API int rfs_get_next_event(uint32_t handle, int32_t chn, RfsEvent *out) RFS_NOEXCEPT;
RFS_API int rfs_event_seek(uint32_t handle, int32_t chn, RfsDateTime *seek_time,
                           RfsDateTime *seek_end, int32_t backward) RFS_NOEXCEPT;

/* ---- Playback ----------------------------------------------------------- */

RFS_API int rfs_read_start(int chn) RFS_NOEXCEPT;
RFS_API int rfs_read_stop(int rd) RFS_NOEXCEPT;
RFS_API int rfs_tseek(int rd, const RfsDateTime *seek_time, int mode, int reserved,
                      const RfsEvent *event, char check_tail) RFS_NOEXCEPT;
RFS_API int rfs_tseek_for_index(int rd, const RfsDateTime *seek_time, int mode, int reserved,
                                const RfsEventKey *key) RFS_NOEXCEPT;
RFS_API int rfs_read(int rd, void *buf, int len, unsigned *head_skip,
                     RfsDateTime *frame_time) RFS_NOEXCEPT;
RFS_API int rfs_get_next_kframe(int rd, void *buf, int len, unsigned *head_skip, int step,
                                RfsDateTime *frame_time) RFS_NOEXCEPT;
RFS_API int rfs_get_prev_kframe(int rd, void *buf, int len, unsigned *head_skip, int step,
                                RfsDateTime *frame_time) RFS_NOEXCEPT;
RFS_API int rfs_get_current_kframe(int rd, void *buf, int len, unsigned *head_skip,
                                   RfsDateTime *frame_time) RFS_NOEXCEPT;
/* The frame returned in *buf is a malloc block the host frees with free().
 * The library allocates at most 16 MiB (key frame and reference frame
 * together); a longer frame gives -1 and "iframe length is too long!"
 * unless the host passes its own buffer (*buf non-null, *len its size). */
RFS_API int rfs_get_first_iframe(int chn, RfsDateTime start, RfsDateTime end, void **buf,
                                 int *len) RFS_NOEXCEPT;

/* Extension: the time stored in the header of a frame as delivered (the
 * bytes from head_skip on): the recorder's wall clock. 0; RFS_ERR_FAILED when
 * the bytes do not start with a whole frame header; RFS_ERR_NULL. */
RFS_API int rfs_frame_time(const void *frame, int len, RfsDateTime *out) RFS_NOEXCEPT;

/* ---- Pictures and labels ------------------------------------------------ */

RFS_API int rfs_get_pic(int handle, int chn, RfsPicList *out) RFS_NOEXCEPT;
RFS_API int rfs_read_pic(int rd, const RfsPic *pic, void *buf, int len,
                         unsigned *head_skip) RFS_NOEXCEPT;
RFS_API int rfs_find_label_start(const RfsSearchParam *p, const char *keyword) RFS_NOEXCEPT;
RFS_API int rfs_get_label(int chn, RfsLabelList *out) RFS_NOEXCEPT;
RFS_API int rfs_find_label_stop(void) RFS_NOEXCEPT;

/* ---- Motion areas ------------------------------------------------------- */

RFS_API int rfs_read_moarea_oneday(int handle, int chn, const uint8_t *area_mask, int min_gap,
                                   MoareaResult *out) RFS_NOEXCEPT;
RFS_API int rfs_read_moarea(const uint8_t *area_mask, const RfsEvent *event, int min_gap,
                            MoareaResult *out) RFS_NOEXCEPT;
RFS_API int rfs_read_moarea_stop(MoareaResult *out) RFS_NOEXCEPT;

/* ---- Times and repair --------------------------------------------------- */

RFS_API int rfs_get_start_end_time(RfsDateTime *start, RfsDateTime *end) RFS_NOEXCEPT;
RFS_API int get_disk_time(RfsDateTime *start, RfsDateTime *end) RFS_NOEXCEPT;
RFS_API int rfs_is_chn_have_record(uint8_t *chn_bitmap, RfsDateTime start,
                                   RfsDateTime end) RFS_NOEXCEPT;
RFS_API int rfs_get_repair_record_time(int chn, uint64_t type_mask, RfsDateTime *out) RFS_NOEXCEPT;

/* ---- Extension: what a mount repaired ----------------------------------- */

/* A partition the recorder was writing when it stopped is repaired while it
 * is mounted. Each step the repair took is one action, in the order taken. */
#define RFS_REPAIR_EVENT_CLOSED 1  /* an event being written, closed at its last key frame */
#define RFS_REPAIR_EVENT_REMOVED 2 /* an event being written without a usable key frame */
#define RFS_REPAIR_RECORD_FILE 3   /* an open record file closed; count = its events */
#define RFS_REPAIR_PICTURE_FILE 4  /* an open picture file closed; count = its pictures */
#define RFS_REPAIR_PARTITION 5     /* the partition's repair; count = files it closed */

#define RFS_REPAIR_NUMBER_FIXED 0x01   /* event: its stored number disagreed with its place */
#define RFS_REPAIR_NO_END_MARKER 0x02  /* picture file: no end marker, summary left empty */
#define RFS_REPAIR_FAILED 0x04         /* partition: the repair stopped; it is marked bad for
                                          this mount and its flag stays set on disk */

typedef struct RfsRepairAction {
    uint8_t kind;      /* RFS_REPAIR_* */
    uint8_t flags;     /* RFS_REPAIR_NUMBER_FIXED ... */
    uint8_t partition;
    uint8_t reserved;
    uint16_t chn;      /* event or record file: its channel */
    uint16_t file_no;  /* 1-based data file number (0 for a partition) */
    uint32_t count;    /* event: its 1-based number; file, partition: see the kinds */
    uint32_t end_sequence; /* file: the sequence number it was closed with */
    RfsDateTime start; /* event: its start; file: its first recording or picture;  */
    RfsDateTime end;   /* partition: its recordings' range (zero when none) */
} RfsRepairAction;

/* Copies up to max actions of the last rfs_add_disk(id, ...) into out and
 * returns how many it made (0 when nothing needed repair); -6 for an id
 * outside 0..31. The actions stay until the slot is mounted again or
 * rfs_exit. */
RFS_API int rfs_get_repair_actions(int id, RfsRepairAction *out, int max) RFS_NOEXCEPT;

#ifdef __cplusplus
} /* extern "C" */
#endif

/* ---- Layout checks (64-bit host, natural alignment) -------------------- */

#if defined(__cplusplus)
#define RFS_STATIC_ASSERT(cond, msg) static_assert(cond, msg)
#else
#define RFS_STATIC_ASSERT(cond, msg) _Static_assert(cond, msg)
#endif

#if UINTPTR_MAX == 0xFFFFFFFFFFFFFFFFu
RFS_STATIC_ASSERT(sizeof(RfsDateTime) == 8, "RfsDateTime is 8 bytes");
RFS_STATIC_ASSERT(offsetof(RfsDateTime, year) == 6, "RfsDateTime year at 6");
RFS_STATIC_ASSERT(sizeof(RfsEvent) == 80, "RfsEvent is 80 bytes");
RFS_STATIC_ASSERT(offsetof(RfsEvent, record_id) == 16, "RfsEvent record_id at 16");
RFS_STATIC_ASSERT(offsetof(RfsEvent, start) == 32, "RfsEvent start at 32");
RFS_STATIC_ASSERT(offsetof(RfsEvent, data_start) == 48, "RfsEvent data_start at 48");
RFS_STATIC_ASSERT(offsetof(RfsEvent, event_id) == 72, "RfsEvent event_id at 72");
RFS_STATIC_ASSERT(sizeof(RfsPic) == 56, "RfsPic is 56 bytes");
RFS_STATIC_ASSERT(offsetof(RfsPic, record_id) == 24, "RfsPic record_id at 24");
RFS_STATIC_ASSERT(offsetof(RfsPic, offset) == 36, "RfsPic offset at 36");
RFS_STATIC_ASSERT(offsetof(RfsPic, extra_half) == 50, "RfsPic extra half-word at 50");
RFS_STATIC_ASSERT(sizeof(RfsLabel) == 64, "RfsLabel is 64 bytes");
RFS_STATIC_ASSERT(offsetof(RfsLabel, text) == 16, "RfsLabel text at 16");
RFS_STATIC_ASSERT(offsetof(RfsLabel, extra_word1) == 56, "RfsLabel extra word at 56");
RFS_STATIC_ASSERT(sizeof(RfsEventKey) == 32, "RfsEventKey is 32 bytes");
RFS_STATIC_ASSERT(offsetof(RfsEventKey, file_no) == 8, "RfsEventKey record id at 8");
RFS_STATIC_ASSERT(offsetof(RfsEventKey, start) == 16, "RfsEventKey start at 16");
RFS_STATIC_ASSERT(sizeof(RfsMonthResult) == 2296, "RfsMonthResult is 2296 bytes");
RFS_STATIC_ASSERT(sizeof(RfsDaySlots) == 192, "RfsDaySlots is 192 bytes");
RFS_STATIC_ASSERT(sizeof(MoareaSegment) == 16, "MoareaSegment is 16 bytes");
RFS_STATIC_ASSERT(sizeof(RfsSearchParam) == 64, "RfsSearchParam is 64 bytes");
RFS_STATIC_ASSERT(offsetof(RfsSearchParam, chnCnt) == 4, "chnCnt at 4");
RFS_STATIC_ASSERT(offsetof(RfsSearchParam, record_type) == 8, "record_type at 8");
RFS_STATIC_ASSERT(offsetof(RfsSearchParam, start) == 16, "start at 16");
RFS_STATIC_ASSERT(offsetof(RfsSearchParam, end) == 24, "end at 24");
RFS_STATIC_ASSERT(offsetof(RfsSearchParam, skip_zero_length) == 32, "skip_zero_length at 32");
RFS_STATIC_ASSERT(offsetof(RfsSearchParam, chnBit) == 40, "chnBit at 40");
RFS_STATIC_ASSERT(offsetof(RfsSearchParam, integratedRecType) == 48, "integratedRecType at 48");
RFS_STATIC_ASSERT(offsetof(RfsSearchParam, integratedRecTypeCount) == 56, "count at 56");
RFS_STATIC_ASSERT(sizeof(AddDiskOptions) == 3, "AddDiskOptions is 3 bytes");
RFS_STATIC_ASSERT(sizeof(RfsRepairAction) == 32, "RfsRepairAction is 32 bytes");
RFS_STATIC_ASSERT(sizeof(RfsPartitionInfo) == 48, "RfsPartitionInfo is 48 bytes");
RFS_STATIC_ASSERT(offsetof(RfsPartitionInfo, record_start) == 16, "record_start at 16");
#endif

#endif /* RFS_H */
