// Event collection into a search session.
#include "search/collect.h"

#include <algorithm>

#include "disk/registry.h"
#include "frame/hour_back.h"
#include "frame/log.h"
#include "frame/record_id.h"
#include "frame/state.h"
#include "search/cover_index.h"
#include "search/event_order.h"
#include "search/scan.h"
#include "search/session.h"

namespace rfs {

namespace {

constexpr int32_t kListInitial = 200;
constexpr int32_t kMergedPerChannel = 84;
constexpr int64_t kEventFloor = 100000; // the cap is max(this, 1440 per channel)

int32_t initial_capacity(const RfsSearchParam &p) {
    if (p.search_type != 2) return kListInitial;
    int32_t selected = 0;
    for (int c = 0; c < max_rec_chn; ++c)
        if (channel_selected(p, uint32_t(c))) ++selected;
    return std::max(kListInitial, kMergedPerChannel * selected);
}

void fill_event(RfsEvent &out, const ScanFile &f, int k, const uint8_t *e, uint16_t list_chn,
                uint8_t handle, uint8_t pass) {
    namespace ev = index_event_info;
    out = RfsEvent{};
    out.record_type = ev::type_mask(e);
    out.list_chn = list_chn;
    out.handle = handle;
    out.record_id = pack_record_id(f.disk->id, f.partition, f.index);
    out.chn = index_file_info::chn(f.record);
    // The two reserved bytes after event_no travel to the host uninterpreted.
    out.stored_byte_a = e[ev::kEventNo + 2];
    out.stored_byte_b = e[ev::kEventNo + 3];
    out.status2 = ev::skip_flag(e) == 2;
    out.skip_flag = ev::skip_flag(e);
    out.group_half = pass;
    unpack_time(ev::start_time(e), &out.start);
    unpack_time(ev::end_time(e), &out.end);
    out.data_start = ev::data_start(e);
    out.data_size = ev::data_size(e);
    out.iframe_index_end = ev::iframe_top(e);
    out.iframe_index_begin = ev::last_iframe_pos(e);
    out.stored_word28 = ev::moarea_start(e);
    out.stored_word56 = ev::moarea_end(e);
    out.event_id = uint16_t(k);
}

class Collector final : public ScanVisitor {
  public:
    Collector(uint32_t handle, const RfsSearchParam &p, int32_t *snapshot)
        : s_(g_search[handle]), handle_(uint8_t(handle)), merged_(p.search_type == 2),
          capacity_(initial_capacity(p)), limit_(int64_t(max_rec_chn) * 1440),
          snapshot_(snapshot), covers_(max_rec_chn) {}

    void start_pass(uint8_t pass) { pass_ = pass; }
    void finish_pass();
    int on_file(const ScanFile &f) override;
    int on_event(const ScanFile &f, int k, const uint8_t *e) override;

  private:
    int make_room(int c);
    int covered_by_first_pass(const ScanFile &f, PackedTime start, PackedTime end);

    SearchSession &s_;
    uint8_t handle_;
    bool merged_;
    int32_t capacity_;
    int64_t limit_;
    int32_t *snapshot_; // per list channel: records of the first pass
    CoverIndexes covers_; // over those records, for the second pass
    uint8_t pass_ = 0;
    int64_t total_ = 0;
    int list_chn_ = 0; // of the file being visited
};

int Collector::on_file(const ScanFile &f) {
    int chn = index_file_info::chn(f.record);
    list_chn_ = merged_ ? 0 : chn;
    // Channels beyond the ones the library was started with have no list.
    if (list_chn_ >= max_rec_chn) return kScanLeaveFile;
    rfs_log("chn:%d, buf_len:%d, data_len:%d\n", list_chn_, s_.buf_len[list_chn_],
            s_.data_len[list_chn_]);
    return kScanNext;
}

int Collector::make_room(int c) {
    int32_t &cap = s_.buf_len[c];
    int32_t len = s_.data_len[c];
    if (cap > len) return 0;
    bool first = cap == 0;
    // A list that cannot be had is an out-of-memory failure like a list that
    // cannot grow: there is nowhere to store the event.
    if (!grow_list(s_.event_list[c], cap, len, capacity_)) {
        rfs_log("realloc event buf err\n");
        return RFS_ERR_NO_MEMORY;
    }
    if (first) rfs_log("malloc:buf:%d, buf_len:%d, data_len:%d\n", c, cap, len);
    else rfs_log("realloc:buf:%d, buf_len:%d, data_len:%d\n", c, cap, len);
    return 0;
}

// 1 when first-pass records of the event's channel span it, 0 when not, or
// -12 when the index over them cannot be had (the scratch of this search).
int Collector::covered_by_first_pass(const ScanFile &f, PackedTime start, PackedTime end) {
    const CoverIndex *cover = covers_.of(list_chn_, s_.event_list[list_chn_], snapshot_[list_chn_]);
    if (!cover) {
        rfs_log("malloc index_file_info err\n");
        return RFS_ERR_NO_MEMORY;
    }
    return cover->covered(start, end, index_file_info::chn(f.record)) ? 1 : 0;
}

int Collector::on_event(const ScanFile &f, int k, const uint8_t *e) {
    int c = list_chn_;
    PackedTime start = index_event_info::start_time(e), end = index_event_info::end_time(e);
    if (pass_ == 1) {
        int covered = covered_by_first_pass(f, start, end);
        if (covered != 0) return covered < 0 ? covered : kScanNext;
    }
    if (total_ >= kEventFloor && total_ >= limit_) {
        rfs_log("event num oversize %d\n", int(limit_));
        return kScanLeaveFile;
    }
    if (int r = make_room(c)) return r;
    int32_t &len = s_.data_len[c];
    if (start < s_.earliest_start || len == 0) s_.earliest_start = start;
    if (end > s_.latest_end || len == 0) s_.latest_end = end;
    s_.part_used[f.disk->id][f.partition] = 1;
    fill_event(s_.event_list[c][len], f, k, e, uint16_t(c), handle_, pass_);
    ++len;
    ++total_;
    return kScanNext;
}

void Collector::finish_pass() {
    for (int c = 0; c < max_rec_chn; ++c) {
        snapshot_[c] = s_.data_len[c];
        s_.event_cursor[c] = -1;
        if (s_.data_len[c] > 0) sort_event_list(s_.event_list[c], s_.data_len[c]);
    }
}

} // namespace

int CollectScratch::allocate() {
    if (!snapshot_.allocate(size_t(max_rec_chn) * sizeof(int32_t), true)) {
        rfs_log("malloc index_file_info err\n");
        return RFS_ERR_NO_MEMORY;
    }
    return buffers_.allocate(true);
}

int collect_events(uint32_t handle, const RfsSearchParam *param, CollectScratch &scratch) {
    ScanSettings settings = ScanSettings::of(*param);
    settings.channel_filter = param;
    settings.type_filter = param;
    settings.skip_zero_length = param->skip_zero_length != 0;
    settings.list_skipped = (param->reserved & RFS_SEARCH_LIST_SKIPPED) != 0;
    dump_search_param(param);
    forget_local_hours(); // seeks on these lists follow the zone as it is now
    dump_all_disks();

    // Counts of the first pass; a collection into a used session starts anew.
    std::fill_n(scratch.snapshot(), max_rec_chn, 0);
    Collector collector(handle, *param, scratch.snapshot());
    for (uint8_t pass = 0; pass < 2; ++pass) {
        settings.pass = pass;
        collector.start_pass(pass);
        ScanResult r = run_scan(settings, scratch.buffers(), collector);
        if (r.code) return r.code;
        if (r.ended_early) return 0; // lists stay as gathered, unsorted
        collector.finish_pass();
    }
    return 0;
}

int collect_events(uint32_t handle, const RfsSearchParam *param) {
    CollectScratch scratch;
    if (int r = scratch.allocate()) {
        dump_search_param(param);
        return r;
    }
    return collect_events(handle, param, scratch);
}

} // namespace rfs
