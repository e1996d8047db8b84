// rfs_is_chn_have_record: which channels have a completed event that meets a
// time span, by the common scan over every mounted disk (groups 0..31, then
// 32..63). The caller's bitmap only gains bits.
#include "frame/log.h"
#include "frame/state.h"
#include "frame/time.h"
#include "search/scan.h"

namespace rfs {

namespace {

class Presence final : public ScanVisitor {
  public:
    explicit Presence(uint8_t *bitmap) : bitmap_(bitmap) {}
    int on_file(const ScanFile &) override { return kScanNext; }
    int on_event(const ScanFile &f, int, const uint8_t *) override {
        // The host's bitmap has room for max_rec_chn channels; a channel
        // number beyond them (a damaged record) is not marked.
        uint32_t chn = index_file_info::chn(f.record);
        if (chn >= uint32_t(max_rec_chn)) return kScanLeaveFile;
        bitmap_[chn >> 3] |= uint8_t(1u << (chn & 7));
        return kScanLeaveFile; // one event is enough for the file's channel
    }

  private:
    uint8_t *bitmap_;
};

} // namespace

} // namespace rfs

using namespace rfs;

extern "C" RFS_API int rfs_is_chn_have_record(uint8_t *chn_bitmap, RfsDateTime start,
                                              RfsDateTime end) noexcept {
    rfs_log("starTime:%d-%d-%d %d:%d:%d   endTime:%d-%d-%d %d:%d:%d\n", start.year, start.month,
            start.day, start.hour, start.minute, start.second, end.year, end.month, end.day,
            end.hour, end.minute, end.second);
    if (!chn_bitmap) return RFS_ERR_NULL;
    ScanSettings s;
    s.start = pack_time(start);
    s.end = pack_time(end);
    s.log_batches = false;
    ScanBuffers buffers;
    int r = buffers.allocate(true);
    if (r != 0) return r;
    Presence visitor(chn_bitmap);
    for (int pass = 0; pass < 2; ++pass) {
        s.pass = pass;
        ScanResult result = run_scan(s, buffers, visitor);
        if (result.code != 0 || result.ended_early) return result.code;
    }
    return 0;
}
