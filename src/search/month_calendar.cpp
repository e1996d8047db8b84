// The month calendar: which days of a month hold records, read from the day
// masks of the file tables alone, or pictures, read from the picture files'
// PicMon_ tables. Event tables are never read.
#include <bit>
#include <cstring>

#include "disk/registry.h"
#include "frame/log.h"
#include "search/calendar.h"
#include "search/scan.h"

namespace rfs {

namespace {

constexpr int kDayMaskDays = 31; // bit d of a file's day mask: day d + 1
constexpr uint32_t kDayMaskBits = (uint32_t(1) << kDayMaskDays) - 1;

// A month other than 1..12 is printed and counts no day; the search goes on.
int days_in_month(const RfsDateTime &start) {
    switch (start.month) {
    case 1: case 3: case 5: case 7: case 8: case 10: case 12:
        return 31;
    case 4: case 6: case 9: case 11:
        return 30;
    case 2: {
        int y = 2000 + start.year;
        return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0 ? 29 : 28;
    }
    default:
        rfs_print("err, invalid month!\n");
        return 0;
    }
}

// The recorder tests type t against record_type with the 32-bit int
// 1 << (t % 32) widened with its sign: types below 31 (and 32..62) test one
// bit of the low word, types 31 and 63 pass on bit 31 or any bit of the high
// word. Hosts' calendars have always shown that, so it stays.
bool type_admitted(uint64_t record_type, size_t t) {
    int32_t bit = int32_t(uint32_t(1) << (t % 32));
    return (record_type & uint64_t(int64_t(bit))) != 0;
}

class RecordDays final : public ScanVisitor {
  public:
    RecordDays(const RfsSearchParam &p, RfsMonthResult *out)
        : admitted_(admitted_words(p.record_type)), key_(month_key(pack_time(p.start))), out_(out) {}

    // Only a file that starts in the month counts, whatever its day masks say
    // of later days: a file's masks have no month of their own.
    int on_file(const ScanFile &f) override {
        namespace fi = index_file_info;
        if (month_key(fi::start_time(f.record)) != key_) return kScanLeaveFile;
        uint16_t chn = fi::chn(f.record);
        for (size_t t = 0; t < fi::kDayMapWords; ++t) {
            if (!((admitted_ >> t) & 1)) continue;
            uint32_t days = fi::day_map(f.record, t) & kDayMaskBits;
            // A host may select channels beyond the 512 the result has
            // room for; their days count in day_types only.
            if (chn < kMaxRecChn) out_->channel_days[chn] |= days << 1;
            for (; days; days &= days - 1) out_->day_types[std::countr_zero(days)] |= uint64_t(1) << t;
        }
        return kScanLeaveFile;
    }
    int on_event(const ScanFile &, int, const uint8_t *) override { return kScanLeaveFile; }

  private:
    // Bit t set when type word t passes the host's record_type.
    static uint64_t admitted_words(uint64_t record_type) {
        uint64_t words = 0;
        for (size_t t = 0; t < index_file_info::kDayMapWords; ++t)
            if (type_admitted(record_type, t)) words |= uint64_t(1) << t;
        return words;
    }

    uint64_t admitted_;
    PackedTime key_;
    RfsMonthResult *out_;
};

class PictureDays final : public ScanVisitor {
  public:
    PictureDays(const RfsSearchParam &p, RfsMonthResult *out, int days)
        : p_(p), key_(month_key(pack_time(p.start))), out_(out), days_(days) {}

    int on_file(const ScanFile &f) override;
    int on_event(const ScanFile &, int, const uint8_t *) override { return kScanLeaveFile; }

  private:
    int marked_days(int first, int last) const;

    const RfsSearchParam &p_;
    PackedTime key_;
    RfsMonthResult *out_;
    int days_;
};

// Days from `first` on that are already marked, up to the first that is not.
// The picture days are indexed by the PicMon_ day byte as it stands.
int PictureDays::marked_days(int first, int last) const {
    int n = 0;
    for (int d = first; d <= last && d < kDayMaskDays && out_->day_types[d] != 0; ++d) ++n;
    return n;
}

int PictureDays::on_file(const ScanFile &f) {
    namespace fi = index_file_info;
    PackedTime start = fi::start_time(f.record), end = fi::end_time(f.record);
    if (month_key(start) > key_ || key_ > month_key(end)) return kScanLeaveFile;
    bool start_in = month_key(start) == key_, end_in = month_key(end) == key_;
    int first = start_in ? packed_day(start) : 1;
    int last = end_in ? packed_day(end) : days_;
    int marked = marked_days(first, last);
    if (marked == days_) return kScanStop; // every day of the month is known
    if (marked == last - first + 1) return kScanLeaveFile;
    read_pic_month(f, p_, out_);
    return kScanLeaveFile;
}

} // namespace

int start_month_result(const RfsSearchParam *param, RfsMonthResult *out) {
    if (!out) {
        rfs_log("invalid param output mon\n");
        return RFS_ERR_NULL;
    }
    std::memset(out, 0, sizeof *out);
    dump_search_param(param);
    return 0;
}

int month_calendar(const RfsSearchParam *param, RfsMonthResult *out) {
    ScanBuffers buffers;
    if (int r = buffers.allocate(false)) return r;
    int days = days_in_month(param->start);
    dump_all_disks();

    ScanSettings settings = ScanSettings::of(*param);
    settings.range_test = RangeTest::month;
    settings.read_events = false;
    if (param->data_type == 0) {
        settings.channel_filter = param;
        RecordDays visitor(*param, out);
        return run_scan(settings, buffers, visitor).code;
    }
    PictureDays visitor(*param, out, days);
    return run_scan(settings, buffers, visitor).code;
}

} // namespace rfs
