#include "event_search.h"

#include <algorithm>

#include "disks.h"
#include "errors.h"
#include "problems.h"
#include "selection.h"
#include "time_text.h"

namespace cli {

EventSearch::EventSearch(const EventQuery &query) : query_(query) {
    std::vector<uint8_t> chn_bits = channel_bits(query_.channels);
    RfsSearchParam param{};
    param.data_type = 0;   // recordings
    param.search_type = 3; // one list per channel
    param.chnCnt = kMaxChannels;
    param.record_type = query_.types;
    param.start = query_.from;
    param.end = query_.to;
    param.chnBit = chn_bits.data();
    if (query_.list_skipped) param.reserved = RFS_SEARCH_LIST_SKIPPED;
    handle_ = rfs_find_start(&param, nullptr, 0);
    if (handle_ < 0) throw ToolError("search failed: " + error_text(handle_));
}

EventSearch::~EventSearch() { rfs_find_stop(uint32_t(handle_)); }

std::vector<RfsEvent> EventSearch::events(int chn) const {
    RfsEventList list{};
    int rc = rfs_get_event(uint32_t(handle_), chn, &list);
    if (rc != 0) throw ToolError("cannot read the events of channel " + std::to_string(chn) + ": " + error_text(rc));
    if (!list.list || list.count <= 0) return {};
    return std::vector<RfsEvent>(list.list, list.list + list.count);
}

std::vector<RfsEvent> EventSearch::all_events() const {
    std::vector<RfsEvent> all;
    for (int c : query_.channels) {
        std::vector<RfsEvent> some = events(c);
        all.insert(all.end(), some.begin(), some.end());
    }
    std::stable_sort(all.begin(), all.end(), [](const RfsEvent &a, const RfsEvent &b) {
        uint32_t sa = packed(a.start), sb = packed(b.start);
        return sa != sb ? sa < sb : a.chn < b.chn;
    });
    return all;
}

RfsEvent EventSearch::event_at(int chn, const RfsDateTime &at) {
    RfsDateTime when = at, until = query_.to;
    std::string where = "channel " + std::to_string(chn) + " at " + time_text(at);
    int rc = rfs_event_seek(uint32_t(handle_), chn, &when, &until, 0);
    if (rc == RFS_ERR_NO_EVENTS || rc == RFS_ERR_SEEK_NOT_FOUND) throw ToolError("no recording on " + where);
    if (rc != 0) throw ToolError("event seek failed on " + where + ": " + error_text(rc));
    RfsEvent ev{};
    rc = rfs_get_current_event(uint32_t(handle_), chn, &ev);
    if (rc != 0) throw ToolError("event seek failed on " + where + ": " + error_text(rc));
    if (packed(at) < packed(ev.start) || packed(at) > packed(ev.end))
        throw ToolError("no recording on " + where + " (the next one starts at " + time_text(ev.start) + ")");
    return ev;
}

void report_skipped_events(long n, const std::string &with_all) {
    if (n == 0) return;
    problems().add("skipped_events", std::to_string(n) + " event" + (n == 1 ? "" : "s") +
                                         " the recorder flagged to leave out of searches " + (n == 1 ? "is" : "are") +
                                         " not " + with_all);
}

} // namespace cli
