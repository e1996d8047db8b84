// One search for recordings, held open for as long as its events are read:
// a read session positions itself through the search that found the event.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "rfs.h"

namespace cli {

struct EventQuery {
    std::vector<int> channels;
    RfsDateTime from{};
    RfsDateTime to{};
    uint64_t types = ~0ull;
    // Also the events the recorder flagged to leave out of searches (their
    // RfsEvent.skip_flag is 1).
    bool list_skipped = false;
};

class EventSearch {
  public:
    // Runs the search (per-channel lists). Throws ToolError.
    explicit EventSearch(const EventQuery &query);
    ~EventSearch();
    EventSearch(const EventSearch &) = delete;
    EventSearch &operator=(const EventSearch &) = delete;

    // The channel's events in start order, as the library lists them.
    std::vector<RfsEvent> events(int chn) const;
    // The events of every queried channel, by start time, then channel.
    std::vector<RfsEvent> all_events() const;
    // The event of `chn` that holds the moment `at`, found with the library's
    // event seek. Throws ToolError when none does.
    RfsEvent event_at(int chn, const RfsDateTime &at);
    // The library's search handle, for calls that read a search's lists.
    int handle() const { return handle_; }

  private:
    EventQuery query_;
    int handle_ = -1;
};

// Says that `n` events the recorder flagged to leave out of searches are not
// in the answer (`with_all`: how --all shows them), when there are any.
void report_skipped_events(long n, const std::string &with_all);

} // namespace cli
