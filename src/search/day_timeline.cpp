// The day timeline: 48 half-hour slots, each the OR of the low words of the
// record types of the events that touch it.
#include <algorithm>

#include "disk/registry.h"
#include "frame/log.h"
#include "search/calendar.h"
#include "search/scan.h"

namespace rfs {

namespace {

constexpr int kSlots = 48;

// Only hour and minute place a time in a slot. A damaged time (hour up to
// 31, minute up to 63) lands past the day; such slots do not exist.
int slot_of(PackedTime t) { return packed_hour(t) * 2 + packed_minute(t) / 30; }

class SlotMarker final : public ScanVisitor {
  public:
    SlotMarker(PackedTime start, PackedTime end, RfsDaySlots *out)
        : start_(start), end_(end), out_(out) {}

    int on_file(const ScanFile &) override { return kScanNext; }
    int on_event(const ScanFile &, int, const uint8_t *e) override {
        namespace ev = index_event_info;
        int first = slot_of(std::max(ev::start_time(e), start_));
        int last = std::min(slot_of(std::min(ev::end_time(e), end_)), kSlots - 1);
        uint32_t types = uint32_t(ev::type_mask(e));
        for (int s = first; s <= last; ++s) out_->slot[s] |= types;
        return kScanNext;
    }

  private:
    PackedTime start_, end_;
    RfsDaySlots *out_;
};

} // namespace

int day_timeline(const RfsSearchParam *param, RfsDaySlots *out) {
    ScanSettings settings = ScanSettings::of(*param);
    settings.channel_filter = param;
    settings.type_filter = param;
    dump_search_param(param);
    ScanBuffers buffers;
    if (int r = buffers.allocate(true)) return r;
    dump_all_disks();
    SlotMarker marker(settings.start, settings.end, out);
    return run_scan(settings, buffers, marker).code;
}

} // namespace rfs
