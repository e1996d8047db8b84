// The label month map: the days of a month that carry a valid label of a
// selected channel. Only day_types is set, to exactly 1 per day; the channel
// days stay clear.
#include "disk/label_area.h"
#include "disk/registry.h"
#include "frame/log.h"
#include "search/calendar.h"
#include "search/scan.h"

namespace rfs {

namespace {

class LabelDays final : public LabelHalfVisitor {
  public:
    LabelDays(const RfsSearchParam &p, RfsMonthResult *out)
        : p_(p), key_(month_key(pack_time(p.start))), out_(out) {}

    // The head's ranges, cut to their months, must enclose the month.
    bool wanted(const LabelHead &head, int half) override {
        PackedTime s = head.earliest(half), e = head.latest(half);
        return s <= e && month_key(s) <= key_ && key_ <= month_key(e);
    }
    int on_half(const disk_info_t &, const uint8_t *records) override {
        namespace lr = label_record;
        for (uint32_t i = 0; i < kLabelsPerHalf; ++i) {
            const uint8_t *r = records + size_t(i) * lr::kSize;
            PackedTime t = lr::time(r);
            if (lr::state(r) != lr::kStateValid || !channel_selected(p_, lr::chn(r)) ||
                month_key(t) != key_ || lr::text(r)[0] == 0)
                continue;
            // Day d is entry d - 1; a day field of 0 names no day.
            if (int day = packed_day(t); day > 0) out_->day_types[day - 1] = 1;
        }
        return 0;
    }
    void open_failed(const disk_info_t &d) override { rfs_log("open disk %s failed\n", d.path); }

  private:
    const RfsSearchParam &p_;
    PackedTime key_;
    RfsMonthResult *out_;
};

} // namespace

int label_calendar(const RfsSearchParam *param, RfsMonthResult *out) {
    LabelDays days(*param, out);
    return visit_label_halves(days);
}

} // namespace rfs
