#include "search/scan_filters.h"

namespace rfs {

namespace {
bool range_meets(PackedTime from, PackedTime to, PackedTime s, PackedTime e) {
    return from <= to && s <= e && from <= e && to >= s;
}

bool month_within(PackedTime from, PackedTime to, PackedTime s) {
    PackedTime key = month_key(s);
    return from <= to && month_key(from) <= key && key <= month_key(to);
}
} // namespace

bool record_type_matches(const RfsSearchParam &param, uint64_t type) {
    if (type & param.record_type) return true;
    if (!param.integratedRecType) return false;
    for (uint32_t m = 0; m < param.integratedRecTypeCount; ++m) {
        uint64_t combined = param.integratedRecType[m];
        if ((type & combined) == combined) return true;
    }
    return false;
}

bool channel_selected(const RfsSearchParam &param, uint32_t chn) {
    // A negative chnCnt describes no bitmap at all, so it selects nothing.
    if (param.chnCnt <= 0 || chn >= uint32_t(param.chnCnt) || !param.chnBit) return false;
    return (param.chnBit[chn / 8] >> (chn % 8)) & 1;
}

bool partition_selected(const ScanSettings &s, const PartitionRecord &part) {
    PackedTime from, to;
    if (s.data_type == 0) {
        from = part.record_start();
        to = part.record_end();
    } else if (s.data_type == 1) {
        from = part.pic_start();
        to = part.pic_end();
    } else {
        return false;
    }
    if (s.range_test == RangeTest::month) return month_within(from, to, s.start);
    return range_meets(from, to, s.start, s.end);
}

bool file_selected(const ScanSettings &s, const uint8_t *r) {
    namespace f = index_file_info;
    uint8_t state = f::file_state(r);
    if (state != 1 && state != 2 && state != 4) return false;
    if (f::magic(r) != kMagicFile || f::file_type(r) != s.data_type) return false;
    if (s.channel_filter && !channel_selected(*s.channel_filter, f::chn(r))) return false;
    if (s.range_test != RangeTest::overlap) return true;
    PackedTime start = f::start_time(r), end = f::end_time(r);
    return start <= end && start <= s.end && end >= s.start;
}

bool event_selected(const ScanSettings &s, const uint8_t *e) {
    namespace ev = index_event_info;
    if (ev::magic(e) != kMagicEven || (ev::skip_flag(e) == 1 && !s.list_skipped)) return false;
    PackedTime start = ev::start_time(e), end = ev::end_time(e);
    if (start > end || start > s.end || end < s.start) return false;
    if (s.skip_zero_length && start == end) return false;
    return !s.type_filter || record_type_matches(*s.type_filter, ev::type_mask(e));
}

} // namespace rfs
