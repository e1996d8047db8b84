// Record files left open by a power cut: the event being written is closed at
// its last key frame (or removed when it has none), and the file's record is
// rebuilt from its event table and closed with a fresh end_sequence.
#include "disk/layout.h"
#include "frame/buffer.h"
#include "frame/log.h"
#include "frame/state.h"
#include "frame/storage.h"
#include "frame/time.h"
#include "repair/last_kframe.h"
#include "repair/repair.h"
#include "repair/repair_report.h"

namespace rfs {

namespace {

namespace fi = index_file_info;
namespace ev = index_event_info;

struct Scratch {
    MallocBuffer table; // one file's event table
    MallocBuffer block; // one 64 KiB block of a key-frame index
};

// Where an open file's event table ends: the events it holds and the entry
// whose positions the file's summary takes (null when it holds none).
struct TableEnd {
    uint32_t event_nr = 0;
    const uint8_t *examined = nullptr;
};

// One open record file, record k of the file table.
class OpenRecordFile {
  public:
    OpenRecordFile(RepairContext &ctx, uint32_t k, Scratch &s)
        : ctx_(ctx), k_(k), rec_(ctx.file_table + size_t(k) * fi::kSize), s_(s),
          dfs_(ctx.block->data_file_size()), chn_(fi::chn(rec_)) {}

    int repair();

  private:
    uint8_t *entry(uint32_t j) const { return s_.table.data() + size_t(j) * ev::kSize; }
    uint32_t entries() const { return event_table_size(dfs_) / ev::kSize; }
    TableEnd settled_end(uint32_t j);
    int close_event(uint32_t j, TableEnd *end);
    void close_at(uint8_t *e, const LastKframe &kf);
    void report_event(const uint8_t *e, uint8_t kind, uint8_t flags);
    void rebuild_summary(const TableEnd &end);
    int write_record();

    RepairContext &ctx_;
    uint32_t k_;
    uint8_t *rec_;
    Scratch &s_;
    uint32_t dfs_;
    int chn_;
    RepairDataFile file_;
};

// No entry is being written: the table ends at the first free entry. An entry
// a repair removed carries its own place as event_no (a removed entry keeps
// every other field); the summary came from it then and comes from it again,
// so a repair cut short after the removal ends as it would have.
TableEnd OpenRecordFile::settled_end(uint32_t j) {
    TableEnd end{j, j > 0 ? entry(j - 1) : nullptr};
    if (j < entries() && ev::magic(entry(j)) == 0 && ev::event_no(entry(j)) == j + 1)
        end.examined = entry(j);
    rfs_log("chn%d repair last event%d is ok\n", chn_, int(j));
    return end;
}

void OpenRecordFile::close_at(uint8_t *e, const LastKframe &kf) {
    find_motion_end(file_.fd(), e, file_.base(), int(motion_area_end(dfs_)));
    uint32_t kf_end = iframe_entry::iframe_offset(kf.entry) + iframe_entry::iframe_length(kf.entry);
    ev::set_magic(e, kMagicEven);
    ev::set_end_time(e, iframe_entry::time(kf.entry));
    ev::set_data_size(e, kf_end - ev::data_start(e));
    ev::set_last_iframe_pos(e, kf.pos);
    ev::set_skip_flag(e, 0);
    remember_repair_time(uint32_t(chn_), ev::type_mask(e), ev::end_time(e));
}

void OpenRecordFile::report_event(const uint8_t *e, uint8_t kind, uint8_t flags) {
    RfsRepairAction a{};
    a.kind = kind;
    a.flags = flags;
    a.partition = uint8_t(ctx_.partition);
    a.chn = uint16_t(chn_);
    a.file_no = uint16_t(k_ + 1);
    a.count = ev::event_no(e);
    unpack_time(ev::start_time(e), &a.start);
    unpack_time(ev::end_time(e), &a.end);
    repair_report_add(a);
}

// Entry j is being written: close it at the newest key frame that agrees with
// its frames, or remove it (magic 0, nothing else changed) when there is none.
int OpenRecordFile::close_event(uint32_t j, TableEnd *end) {
    uint8_t *e = entry(j);
    rfs_log("chn%d repair begin\n", chn_);
    uint8_t flags = 0;
    if (ev::event_no(e) != j + 1) {
        rfs_log("chn%d Warning event nr conflict!!!\n", chn_);
        ev::set_event_no(e, uint16_t(j + 1));
        flags = RFS_REPAIR_NUMBER_FIXED;
    }
    rfs_log("chn%d repair event%d\n", chn_, ev::event_no(e));
    LastKframe kf;
    KframeSearch found = find_last_kframe(file_, e, kframe_scan_blocks(dfs_, nas_mode()),
                                          effective_data_file_size(dfs_), s_.block.data(), &kf);
    if (found == KframeSearch::read_failed) return -1;
    if (found == KframeSearch::found) {
        int agrees = kframe_agrees(file_, e, kf, chn_);
        if (agrees < 0) return -1;
        if (agrees == 0) found = KframeSearch::none;
    }
    if (found == KframeSearch::found) close_at(e, kf);
    else ev::set_magic(e, 0);
    uint64_t at = event_table_offset(*ctx_.block, k_) + uint64_t(j) * ev::kSize;
    if (repair_index_commit(ctx_, at, e, ev::kSize) != 0) {
        rfs_log("write event err!\n");
        return -1;
    }
    bool closed = found == KframeSearch::found;
    report_event(e, closed ? RFS_REPAIR_EVENT_CLOSED : RFS_REPAIR_EVENT_REMOVED, flags);
    *end = TableEnd{closed ? j + 1 : j, e};
    return 0;
}

void OpenRecordFile::rebuild_summary(const TableEnd &end) {
    fi::set_event_nr(rec_, uint16_t(end.event_nr));
    if (end.event_nr == 0 || !end.examined) {
        fi::set_data_end(rec_, media_data_start(dfs_));
        fi::set_index_pos(rec_, effective_data_file_size(dfs_));
        fi::set_moarea_end(rec_, kMotionAreaStart);
        fi::set_aux_end(rec_, motion_area_end(dfs_));
    } else {
        const uint8_t *e = end.examined;
        fi::set_data_end(rec_, ev::data_start(e) + ev::data_size(e));
        fi::set_index_pos(rec_, ev::last_iframe_pos(e));
        fi::set_moarea_end(rec_, ev::moarea_end(e));
        fi::set_aux_end(rec_, ev::aux_start(e) + ev::aux_len(e));
    }
    fi::set_end_sequence(rec_, ++ctx_.max_end_sequence);
    if (fi::file_state(rec_) == 1) fi::set_file_state(rec_, 4);
    fi::clear_day_map(rec_);
    uint32_t first = 0, last = 0;
    for (uint32_t j = 0; j < end.event_nr; ++j) {
        const uint8_t *e = entry(j);
        if (ev::skip_flag(e) == 1) continue;
        widen_range(&first, &last, ev::start_time(e), ev::end_time(e));
        add_to_day_map(rec_, ev::start_time(e), ev::type_mask(e));
    }
    fi::set_start_time(rec_, first);
    fi::set_end_time(rec_, last);
}

// The copy at the head of the data file goes first: once the index shows the
// file closed, no mount looks at it again.
int OpenRecordFile::write_record() {
    if (!write_exact(file_.fd(), rec_, fi::kSize, file_.base())) {
        rfs_log("write data file info failed\n");
        return -1;
    }
    file_.note_written();
    if (write_closed_file_record(ctx_, k_, rec_) != 0) {
        rfs_log("write file err!\n");
        return -1;
    }
    return 0;
}

int OpenRecordFile::repair() {
    rfs_log("chn%d repair last file%d, eseq=%u\n", chn_, int(fi::file_no(rec_)), fi::kOpenSequence);
    // Tables and data files are addressed by the record's place in the file
    // table, as every search does; a file_no that disagrees is only reported.
    if (fi::file_no(rec_) != k_ + 1) rfs_log("file record %u names file%d\n", k_, fi::file_no(rec_));
    if (!file_.open(ctx_, k_)) {
        rfs_log("open datafile  err!\n");
        return -1;
    }
    if (repair_index_read(ctx_, event_table_offset(*ctx_.block, k_), s_.table.data(),
                          event_table_size(dfs_)) != 0) {
        rfs_log("read event err!\n");
        return -1;
    }
    uint32_t j = 0;
    while (j < entries() && ev::magic(entry(j)) != kMagicEvWr && ev::magic(entry(j)) != 0) ++j;
    TableEnd end;
    if (j < entries() && ev::magic(entry(j)) == kMagicEvWr) {
        if (close_event(j, &end) != 0) return -1;
    } else {
        end = settled_end(j);
    }
    rebuild_summary(end);
    if (write_record() != 0) return -1;
    ctx_.last_chn = chn_;
    ++ctx_.files_closed;
    RfsRepairAction a{};
    a.kind = RFS_REPAIR_RECORD_FILE;
    a.partition = uint8_t(ctx_.partition);
    a.chn = uint16_t(chn_);
    a.file_no = uint16_t(k_ + 1);
    a.count = end.event_nr;
    a.end_sequence = fi::end_sequence(rec_);
    unpack_time(fi::start_time(rec_), &a.start);
    unpack_time(fi::end_time(rec_), &a.end);
    repair_report_add(a);
    rfs_log("chn%d repair success\n", chn_);
    return 0;
}

} // namespace

int repair_record_files(RepairContext &ctx) {
    Scratch s;
    if (!s.table.allocate(event_table_size(ctx.block->data_file_size())) ||
        !s.block.allocate(kKframeBlock)) {
        rfs_log("event info malloc failed\n");
        return -1;
    }
    for (uint32_t k = 0; k < ctx.file_nr; ++k) {
        const uint8_t *rec = ctx.file_table + size_t(k) * fi::kSize;
        if (fi::file_type(rec) != 0) continue;
        if (fi::end_sequence(rec) != fi::kOpenSequence) {
            rfs_log("chn%d repair success\n", ctx.last_chn);
            continue;
        }
        if (OpenRecordFile(ctx, k, s).repair() != 0) return -1;
    }
    return 0;
}

} // namespace rfs
