// The library's browsing searches as the tool asks them: month maps of
// recordings, pictures and labels, the half hours of a day, picture lists
// and label lists. Each throws ToolError when the library refuses the whole
// search, and reports to problems() what it skipped on the way.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "event_search.h"
#include "rfs.h"

namespace cli {

class MountedDisks;

// What a browsing search selects: channels, an inclusive time range and
// record types, as an event search takes them (list_skipped plays no part).
using BrowseQuery = EventQuery;

// --channel, --from, --to and --type of a browsing command, each when given
// (default: every channel, all time, every type). Throws UsageError.
class Args;
BrowseQuery browse_query(const Args &args);

// Days of a month by kind. Entry d - 1 stands for day d.
struct MonthDays {
    int year = 0, month = 0, days = 0;
    std::vector<uint64_t> record_types;  // the types recorded that day, as the library masks them
    std::vector<uint32_t> channel_days;  // per channel: bit d for day d
    std::vector<bool> pictures, labels;
    bool labels_read = true; // false: the label areas could not be searched
};

// The month's recordings of the query's channels and types.
void find_record_days(const BrowseQuery &month, MonthDays &out);
// The month's pictures, of every channel: the recorder's picture-month
// tables keep days, not channels.
void find_picture_days(const BrowseQuery &month, MonthDays &out);
// The month's valid labels of the query's channels.
void find_label_days(const BrowseQuery &month, MonthDays &out);

// The 48 half hours of the query's day: the OR of the low 32 record-type
// bits of the recordings that touch each.
RfsDaySlots find_day_slots(const BrowseQuery &day);

// The pictures of the query, held in a picture search for as long as their
// bytes are read: the library reads a picture through the search that found
// it.
class PictureSearch {
  public:
    explicit PictureSearch(const BrowseQuery &query);
    ~PictureSearch();
    PictureSearch(const PictureSearch &) = delete;
    PictureSearch &operator=(const PictureSearch &) = delete;

    // By time, channel, then where they are stored, so that the order (and
    // the names extract gives them) never depends on how the library sorted
    // ties.
    const std::vector<RfsPic> &pictures() const { return pictures_; }
    // Reads one picture's bytes into `data`: "" or why it could not be read.
    std::string read(const RfsPic &pic, std::vector<uint8_t> &data);

  private:
    int handle_ = -1;
    int rd_ = -1;
    std::vector<RfsPic> pictures_;
};

// Pictures larger than this are not read: no recorder stores one so big, and
// a damaged record must not make the tool allocate what its length says.
constexpr uint32_t kMaxPictureBytes = 64u << 20;

// The labels of the query whose text holds `keyword` ("" for all), by time
// then channel. The deleted ones are not listed.
std::vector<RfsLabel> find_labels(const BrowseQuery &query, const std::string &keyword);
// Says which disks' label areas could not be read when they were mounted.
void report_label_heads(const MountedDisks &disks);

// The label's text as stored: up to its NUL, at most the 40 bytes the
// library hands out.
std::string label_text(const RfsLabel &label);

} // namespace cli
