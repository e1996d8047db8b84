#include "browse_search.h"

#include <algorithm>
#include <cstring>
#include <tuple>

#include "args.h"
#include "disks.h"
#include "errors.h"
#include "problems.h"
#include "selection.h"
#include "time_text.h"

namespace cli {

namespace {

constexpr uint8_t kRecords = 0, kPictures = 1, kLabels = 2;
constexpr uint8_t kMonth = 0, kDay = 1, kMerged = 2;
// The most pictures rfs_get_pic hands out of one search: the oldest.
constexpr int kPictureListCap = 5000;

// A search request whose channel bitmap lives as long as it does.
struct Request {
    Request(const BrowseQuery &q, uint8_t data_type, uint8_t search_type) : bits(channel_bits(q.channels)) {
        param.data_type = data_type;
        param.search_type = search_type;
        param.chnCnt = kMaxChannels;
        param.record_type = q.types;
        param.start = q.from;
        param.end = q.to;
        param.chnBit = bits.data();
    }
    std::vector<uint8_t> bits;
    RfsSearchParam param{};
};

// A search that meets a partition without a usable index copy ends there
// and still succeeds: what it found of the disks before stands.
void report_cut_search(const LibraryLines &lines, const std::string &what) {
    if (!lines.find("can't find valid index!").empty())
        problems().add("partition", what + " stopped at a partition without a usable index copy; "
                                           "what lies on the partitions after it is missing");
}

// The library's month map of one kind: records and pictures fail as a whole
// (labels are said and left out instead, find_label_days).
RfsMonthResult month_result(const BrowseQuery &month, uint8_t data_type, int &rc) {
    Request r(month, data_type, kMonth);
    RfsMonthResult m{};
    rc = rfs_find_start(&r.param, &m, 0);
    return m;
}

RfsMonthResult month_map(const BrowseQuery &month, uint8_t data_type, const LibraryLines &lines, const std::string &what) {
    int rc = 0;
    RfsMonthResult m = month_result(month, data_type, rc);
    if (rc != RFS_NO_SESSION_HANDLE) throw ToolError(what + " failed: " + error_text(rc));
    report_cut_search(lines, what);
    return m;
}

std::string library_line(const LibraryLines &lines, std::initializer_list<const char *> texts) {
    for (const char *t : texts)
        if (std::string line = lines.find(t); !line.empty()) return " (library: " + line + ")";
    return "";
}

} // namespace

BrowseQuery browse_query(const Args &args) {
    BrowseQuery q;
    q.channels = args.has("--channel") ? parse_channel_list(args.value("--channel")) : all_channels();
    q.from = args.has("--from") ? parse_time_text(args.value("--from")) : earliest_time();
    q.to = args.has("--to") ? parse_time_text(args.value("--to"), DateOnly::EndOfDay) : latest_time();
    if (args.has("--type")) q.types = parse_type_mask(args.values("--type"));
    if (packed(q.to) < packed(q.from)) throw UsageError("--to is before --from");
    return q;
}

void find_record_days(const BrowseQuery &month, MonthDays &out) {
    LibraryLines lines;
    RfsMonthResult m = month_map(month, kRecords, lines, "the month calendar");
    out.record_types.assign(m.day_types, m.day_types + out.days);
    out.channel_days.assign(m.channel_days, m.channel_days + kMaxChannels);
}

// The picture map holds a day at the index of the day byte its recorder
// stored (1 for the 1st), so entry 0 means nothing and a 31st has no entry:
// the 31st is asked of a picture search of that day instead.
void find_picture_days(const BrowseQuery &month, MonthDays &out) {
    LibraryLines lines;
    RfsMonthResult m = month_map(month, kPictures, lines, "the picture calendar");
    for (const std::string &line : lines.lines())
        if (line.find("err,cnt:") != std::string::npos || line.find("addr64=") != std::string::npos ||
            (line.rfind("open ", 0) == 0 && line.size() > 4 && line.substr(line.size() - 4) == " err"))
            problems().add("pictures", "a picture file's month table was skipped (library: " + line +
                                           "); the days of its pictures may be missing");
    out.pictures.assign(size_t(out.days), false);
    for (int d = 1; d <= std::min(out.days, 30); ++d) out.pictures[size_t(d - 1)] = m.day_types[d] != 0;
    if (out.days == 31) {
        BrowseQuery last = month;
        last.channels = all_channels();
        last.from = make_time(out.year, out.month, 31, 0, 0, 0);
        last.to = make_time(out.year, out.month, 31, 23, 59, 59);
        try {
            out.pictures[30] = !PictureSearch(last).pictures().empty();
        } catch (const ToolError &e) {
            problems().add("pictures", std::string("whether the 31st has pictures cannot be told: ") + e.what());
        }
    }
}

void find_label_days(const BrowseQuery &month, MonthDays &out) {
    LibraryLines lines;
    int rc = 0;
    RfsMonthResult m = month_result(month, kLabels, rc);
    out.labels.assign(size_t(out.days), false);
    out.labels_read = rc == RFS_NO_SESSION_HANDLE;
    if (!out.labels_read) {
        problems().add("labels", "the label areas cannot be read: " + error_text(rc) +
                                     library_line(lines, {"open disk", "read err!", "malloc failed"}) +
                                     "; the days with labels are not shown");
        return;
    }
    for (int d = 1; d <= out.days; ++d) out.labels[size_t(d - 1)] = m.day_types[d - 1] != 0;
}

RfsDaySlots find_day_slots(const BrowseQuery &day) {
    LibraryLines lines;
    Request r(day, kRecords, kDay);
    RfsDaySlots slots{}; // the library only ORs into it
    int rc = rfs_find_start(&r.param, &slots, 0);
    if (rc != RFS_NO_SESSION_HANDLE) throw ToolError("the day timeline failed: " + error_text(rc));
    report_cut_search(lines, "the day timeline");
    return slots;
}

PictureSearch::PictureSearch(const BrowseQuery &query) {
    LibraryLines lines;
    Request r(query, kPictures, kMerged);
    RfsEventList unused{}; // a merged search wants an output; a picture search leaves it
    handle_ = rfs_find_start(&r.param, &unused, 0);
    if (handle_ < 0) throw ToolError("the picture search failed: " + error_text(handle_));
    report_cut_search(lines, "the picture search");
    for (const std::string &line : lines.lines())
        if (line.rfind("pic table out of file", 0) == 0)
            problems().add("pictures", "a picture file's table runs past the end of its data file; only the "
                                       "records inside it are listed (library: " + line + ")");
    RfsPicList list{};
    int rc = rfs_get_pic(handle_, 0, &list);
    if (rc != 0) {
        rfs_find_stop(uint32_t(handle_));
        throw ToolError("cannot read the picture list: " + error_text(rc));
    }
    if (list.list && list.count > 0) pictures_.assign(list.list, list.list + list.count);
    if (list.count >= kPictureListCap)
        problems().add("pictures", "the library lists at most " + std::to_string(kPictureListCap) +
                                       " pictures a search, the oldest: pictures after " +
                                       time_text(pictures_.back().time) +
                                       " may be missing (a narrower --from/--to shows them)");
    auto key = [](const RfsPic &p) {
        return std::make_tuple(packed(p.time), p.pic_chn, p.record_id, p.offset);
    };
    std::stable_sort(pictures_.begin(), pictures_.end(),
                     [&](const RfsPic &a, const RfsPic &b) { return key(a) < key(b); });
}

PictureSearch::~PictureSearch() {
    if (rd_ >= 0) rfs_read_stop(rd_);
    rfs_find_stop(uint32_t(handle_));
}

std::string PictureSearch::read(const RfsPic &pic, std::vector<uint8_t> &data) {
    if (pic.pic_length > kMaxPictureBytes)
        return "its record says " + std::to_string(pic.pic_length) + " bytes, more than the " +
               std::to_string(kMaxPictureBytes >> 20) + " MiB a picture may have";
    if (rd_ < 0 && (rd_ = rfs_read_start(0)) < 0) return "no read session: " + error_text(rd_);
    // The library reads whole 4 KB blocks from the block that holds the
    // picture's first byte.
    const uint32_t lead = pic.offset & 0xFFF;
    const uint32_t blocks = (pic.pic_length + lead + 0xFFF) & ~0xFFFu;
    std::vector<uint8_t> buf(blocks);
    unsigned skip = 0;
    LibraryLines lines;
    int rc = rfs_read_pic(rd_, &pic, buf.data(), int(blocks), &skip);
    if (rc < 0)
        return error_text(rc) + library_line(lines, {"pic out of data file", "open file", "read data error"});
    if (uint64_t(rc) != blocks || skip != lead) return "the library delivered " + std::to_string(rc) + " bytes";
    data.assign(buf.begin() + skip, buf.begin() + skip + pic.pic_length);
    return "";
}

std::vector<RfsLabel> find_labels(const BrowseQuery &query, const std::string &keyword) {
    LibraryLines lines;
    Request r(query, kLabels, kMerged); // every label in one list, by time then channel
    int rc = rfs_find_label_start(&r.param, keyword.c_str());
    if (rc != 0)
        problems().add("labels", "the label search stopped" +
                                     library_line(lines, {"open hdd failed", "read err!", "malloc failed"}) +
                                     ": the labels of the disk it stopped at, and of those after it, are missing");
    RfsLabelList list{};
    std::vector<RfsLabel> labels;
    if (rfs_get_label(0, &list) == 0 && list.list && list.count > 0) labels.assign(list.list, list.list + list.count);
    rfs_find_label_stop();
    return labels;
}

void report_label_heads(const MountedDisks &disks) {
    for (int id = 0; id < disks.count(); ++id)
        if (const std::string &why = disks.label_head_failure(id); !why.empty())
            problems().add("labels", "disk " + std::to_string(id) + " (" + disks.path(id) +
                                         "): its label area cannot be read (library: " + why +
                                         "); its labels are not listed");
}

std::string label_text(const RfsLabel &label) { return std::string(label.text, strnlen(label.text, sizeof label.text)); }

} // namespace cli
