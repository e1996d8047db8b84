// The picture search. A picture file keeps one 48-byte record per picture,
// growing downward from the end of the file: its file record's event_nr
// counts them and index_pos is the lowest, so the table is event_nr records
// from index_pos on, newest first. Every matching picture of every channel
// goes into list slot 0.
#include "search/pic_search.h"

#include <algorithm>

#include "disk/registry.h"
#include "frame/buffer.h"
#include "frame/log.h"
#include "frame/record_id.h"
#include "frame/storage.h"
#include "frame/time.h"
#include "search/scan.h"
#include "search/session.h"

namespace rfs {

namespace {

namespace pr = pic_record;

constexpr int32_t kPicListInitial = 500;
constexpr int32_t kPicListCap = 10000; // reaching it cuts the list to kPicListKeep

PackedTime pic_time(const RfsPic &p) { return pack_time(p.time); }

// Time, then channel; the order of pictures equal in both is their order of
// finding.
void sort_pics(RfsPic *list, int32_t n) {
    std::stable_sort(list, list + n, [](const RfsPic &a, const RfsPic &b) {
        PackedTime ta = pic_time(a), tb = pic_time(b);
        return ta != tb ? ta < tb : a.pic_chn < b.pic_chn;
    });
    for (int32_t i = 0; i < n; ++i) list[i].sequence = uint32_t(i);
}

void fill_pic(RfsPic &out, const ScanFile &f, int j, const uint8_t *r, uint8_t handle,
              uint8_t pass) {
    out = RfsPic{};
    out.type_lo = pr::type_lo(r);
    out.type_hi = pr::type_hi(r);
    unpack_time(pr::time(r), &out.time);
    out.handle = handle;
    out.record_id = pack_record_id(f.disk->id, f.partition, f.index);
    out.pic_chn = pr::pic_chn(r);
    out.status = pr::status(r); // 2 = deleted; listed all the same
    out.extra_byte = pr::extra_byte(r);
    out.table_index = uint16_t(j);
    out.offset = pr::offset(r);
    out.pic_length = pr::pic_length(r);
    out.extra_word = pr::extra_word(r);
    out.pass = pass;
    out.extra_half = pr::extra_half(r);
}

bool same_picture(const RfsPic &listed, const uint8_t *r) {
    return listed.pic_chn == pr::pic_chn(r) && listed.pic_length == pr::pic_length(r) &&
           listed.type_lo == pr::type_lo(r) && listed.type_hi == pr::type_hi(r) &&
           listed.extra_word == pr::extra_word(r);
}

class PictureCollector final : public ScanVisitor {
  public:
    PictureCollector(uint32_t handle, RfsSearchParam &p)
        : s_(g_search[handle]), p_(p), handle_(uint8_t(handle)), start_(pack_time(p.start)),
          end_(pack_time(p.end)) {}

    void start_pass(uint8_t pass) { pass_ = pass; }
    void finish_pass();
    int on_file(const ScanFile &f) override;
    int on_event(const ScanFile &, int, const uint8_t *) override { return kScanLeaveFile; }

  private:
    uint32_t table_count(const ScanFile &f) const;
    int read_table(const ScanFile &f, uint32_t count);
    bool taken(const uint8_t *r) const;
    bool found_in_first_pass(const uint8_t *r) const;
    int append(const ScanFile &f, int j, const uint8_t *r);
    void cut_list();

    SearchSession &s_;
    RfsSearchParam &p_;
    uint8_t handle_;
    PackedTime start_, end_;
    uint8_t pass_ = 0;
    int32_t first_pass_count_ = 0; // records of slot 0 after the first pass
    MallocBuffer table_;
};

// The table must lie inside the data file: a count that runs past the file's
// end is cut to the records that fit.
uint32_t PictureCollector::table_count(const ScanFile &f) const {
    namespace fi = index_file_info;
    uint32_t file_size = effective_data_file_size(f.disk->param.data_file_size());
    uint32_t pos = fi::index_pos(f.record), count = fi::event_nr(f.record);
    uint32_t fit = pos <= file_size ? (file_size - pos) / uint32_t(pr::kSize) : 0;
    if (count <= fit) return count;
    rfs_log("pic table out of file%d, index_pos=%u, pic_nr=%u\n", f.index, pos, count);
    return fit;
}

int PictureCollector::read_table(const ScanFile &f, uint32_t count) {
    uint32_t len = count * uint32_t(pr::kSize);
    if (table_.size() < len && !table_.allocate(len)) {
        rfs_log("malloc pic table err\n");
        return RFS_ERR_NO_MEMORY;
    }
    FdGuard own;
    int fd = f.index_fd;
    if (nas_mode()) {
        own.reset(open_scan_data_file(f));
        if (own.get() < 0) return RFS_ERR_OPEN;
        fd = own.get();
    }
    if (read_exact(fd, table_.data(), len, data_file_pos(f, index_file_info::index_pos(f.record))))
        return 0;
    rfs_log("read pic err\n");
    return RFS_ERR_INDEX_READ;
}

int PictureCollector::on_file(const ScanFile &f) {
    uint32_t count = table_count(f);
    if (count == 0) return kScanLeaveFile;
    if (int r = read_table(f, count)) return r;
    for (uint32_t j = count; j-- > 0;) {
        const uint8_t *r = table_.data() + size_t(j) * pr::kSize;
        p_.search_type = 2; // the pictures of all channels make one list
        if (!taken(r)) continue;
        if (int rc = append(f, int(j), r)) return rc;
    }
    return kScanLeaveFile;
}

bool PictureCollector::taken(const uint8_t *r) const {
    if (!record_type_matches(p_, pr::type_mask(r)) || !channel_selected(p_, pr::pic_chn(r)))
        return false;
    PackedTime t = pr::time(r);
    if (pr::magic(r) != kMagicPict || t < start_ || t > end_) return false;
    return pass_ == 0 || !found_in_first_pass(r);
}

// The first pass's list is sorted by time: the pictures of the same moment
// lie together.
bool PictureCollector::found_in_first_pass(const uint8_t *r) const {
    const RfsPic *list = s_.pic_list[0];
    int32_t n = std::min(first_pass_count_, s_.data_len[0]);
    if (!list || n <= 0) return false;
    PackedTime t = pr::time(r);
    const RfsPic *at = std::partition_point(list, list + n, [t](const RfsPic &p) { return pic_time(p) < t; });
    for (; at != list + n && pic_time(*at) == t; ++at)
        if (same_picture(*at, r)) return true;
    return false;
}

int PictureCollector::append(const ScanFile &f, int j, const uint8_t *r) {
    int32_t &len = s_.data_len[0], &cap = s_.buf_len[0];
    bool first = cap == 0;
    if (!grow_list(s_.pic_list[0], cap, len, kPicListInitial)) {
        rfs_log("realloc pic buf err\n");
        return RFS_ERR_NO_MEMORY;
    }
    if (first) rfs_log("malloc:buf:%d, buf_len:%d, data_len:%d\n", 0, cap, len);
    PackedTime t = pr::time(r);
    if (len == 0 || t < s_.earliest_start) s_.earliest_start = t;
    if (len == 0 || t > s_.latest_end) s_.latest_end = t;
    s_.part_used[f.disk->id][f.partition] = 1;
    fill_pic(s_.pic_list[0][len], f, j, r, handle_, pass_);
    if (++len == kPicListCap) cut_list();
    return 0;
}

// Keeps the oldest kPicListKeep pictures. The latest time becomes that of
// the first picture dropped.
void PictureCollector::cut_list() {
    RfsPic *list = s_.pic_list[0];
    sort_pics(list, s_.data_len[0]);
    s_.earliest_start = pic_time(list[0]);
    s_.latest_end = pic_time(list[kPicListKeep]);
    s_.data_len[0] = kPicListKeep;
}

void PictureCollector::finish_pass() {
    for (int c = 0; c < max_rec_chn; ++c) {
        s_.event_cursor[c] = -1;
        if (s_.data_len[c] > 0) sort_pics(s_.pic_list[c], s_.data_len[c]);
    }
    first_pass_count_ = s_.data_len[0];
}

} // namespace

int search_pictures(uint32_t handle, RfsSearchParam *param) {
    ScanSettings settings = ScanSettings::of(*param);
    settings.read_events = false;
    settings.recover_on_open = false;
    dump_search_param(param);
    dump_all_disks();
    ScanBuffers buffers;
    if (int r = buffers.allocate(false)) return r;

    PictureCollector collector(handle, *param);
    for (uint8_t pass = 0; pass < 2; ++pass) {
        settings.pass = pass;
        collector.start_pass(pass);
        ScanResult r = run_scan(settings, buffers, collector);
        if (r.code) return r.code;
        if (r.ended_early) return 0; // the list stays as gathered, unsorted
        collector.finish_pass();
    }
    return 0;
}

} // namespace rfs
