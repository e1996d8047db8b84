// Recorder-made disks mounted through the public calls on POSIX storage behind
// the counting wrapper, request builders, what a search should return
// according to the recorder, and a table runner for calls and their codes.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "disk/registry.h"
#include "disk_alias.h"
#include "fault_storage.h"
#include "frame/alloc.h"
#include "frame/state.h"
#include "frame/time.h"
#include "posix_storage.h"
#include "recorder.h"
#include "rfs.h"
#include "support/log_capture.h"
#include "support/temp_dir.h"

constexpr int kChannels = 8;

inline rec::PackedTime at(const std::string &text) { return rec::t(text); }
inline RfsDateTime dt(rec::PackedTime t) {
    RfsDateTime d{};
    rfs::unpack_time(t, &d);
    return d;
}

// A disk of index and frame headers only: enough for every search.
inline rec::DiskShape headers_only(int partitions, bool nas = false, int files = 16) {
    rec::DiskShape s;
    s.partitions = partitions;
    s.files_per_partition = files;
    s.nas = nas;
    s.headers_only = true;
    s.keep_truth = false;
    return s;
}
// One recording at one frame a second.
inline void record(rec::Recorder &r, int c, const char *from, const char *to, uint64_t type, uint8_t skip = 0) {
    rec::RecordOptions o;
    o.fps = 1;
    o.skip_flag = skip;
    r.record(c, at(from), at(to), type, o);
}
// Writes the low `bytes` bytes of value little-endian at `off` of a file;
// returns what they held.
inline uint32_t poke(const std::string &file, uint64_t off, uint32_t value, int bytes = 4) {
    uint8_t b[4] = {}, old[4] = {};
    std::fstream io(file, std::ios::binary | std::ios::in | std::ios::out);
    io.seekg(std::streamoff(off)).read(reinterpret_cast<char *>(old), bytes);
    for (int i = 0; i < bytes; ++i) b[i] = uint8_t(value >> (8 * i));
    io.seekp(std::streamoff(off)).write(reinterpret_cast<const char *>(b), bytes);
    return old[0] | old[1] << 8 | old[2] << 16 | uint32_t(old[3]) << 24;
}

// A call, its result and, when given, a log line it writes.
struct Call {
    const char *what;
    std::function<int()> call;
    int result;
    const char *log = nullptr;
};

// A listed event: disk, partition, file, event, channel, start, end.
using Found = std::tuple<int, int, int, int, int, uint32_t, uint32_t>;
inline Found found_of(const RfsEvent &e) {
    return {int(e.record_id >> 24), int(e.record_id >> 16 & 0xFF), int(e.record_id & 0xFFFF),
            e.event_id, e.chn, rfs::pack_time(e.start), rfs::pack_time(e.end)};
}
// The library's list order: start time, then channel.
inline void by_start_then_channel(std::vector<Found> &v) {
    std::stable_sort(v.begin(), v.end(), [](const Found &a, const Found &b) {
        return std::tie(std::get<5>(a), std::get<4>(a)) < std::tie(std::get<5>(b), std::get<4>(b));
    });
}

class SearchTest : public ::testing::Test {
  protected:
    struct Disk {
        std::string alias;
        std::vector<rec::EventTruth> events;
        rec::Geometry geometry;
    };

    void SetUp() override {
        rfs_host::clear_aliases();
        rfs_host::fault_install(rfs_host::posix_ops());
        rfs::g_event_index_size = 0;
        rfs::g_max_part_file_nr = 0;
        ASSERT_EQ(rfs_init(channels_, 1), 0);
    }
    void TearDown() override {
        for (int rd = 0; rd < rfs::kReadSessions; ++rd) rfs_read_stop(rd);
        for (uint32_t h = 0; h < 64; ++h) rfs_find_stop(h);
        rfs_find_label_stop();
        for (int id = 0; id < rfs::kMaxDisks; ++id)
            if (rfs::pg_disk_list[id]) rfs_remove_disk(id);
        rfs_exit();
        rfs::set_alloc_failure(-1);
        rfs_host::fault_clear_rules();
        rfs_set_nas_mode(0);
    }

    // Records on a fresh disk (then finish()) and keeps what was written.
    const Disk &make_disk(const rec::DiskShape &shape, const std::function<void(rec::Recorder &)> &live,
                          const std::string &name) {
        rec::Recorder r(shape, tmp_.file(name));
        live(r);
        r.finish();
        return disks_[name] = {rfs_host::alias_disk(tmp_.file(name)),
                               {r.events().begin(), r.events().end()}, r.geometry()};
    }
    // kind 1 or negative puts the disk in group half 32..63.
    void mount(int id, const std::string &name, int kind = 0, int group = 0) {
        ASSERT_EQ(rfs_add_disk(id, disks_[name].alias.c_str(), kind, group, nullptr), 0);
        for (const rec::EventTruth &ev : disks_[name].events) truth_.push_back({id, kind == 1 || kind < 0, &ev});
    }

    // Every channel and record type from `from` to `to`.
    RfsSearchParam range(const std::string &from, const std::string &to, uint8_t type = 3) {
        RfsSearchParam p{};
        p.search_type = type;
        p.chnCnt = channels_;
        p.record_type = ~0ull;
        p.chnBit = every_.data();
        p.start = dt(at(from));
        p.end = dt(at(to));
        return p;
    }
    RfsSearchParam day(const std::string &date, uint8_t type = 3) {
        return range(date + " 00:00:00", date + " 23:59:59", type);
    }
    // The month of "YYYY-MM" (month 13 too) for the calendars.
    RfsSearchParam month(const std::string &yyyy_mm, uint8_t data_type) {
        RfsSearchParam p = day(yyyy_mm.substr(0, 5) + "01-01", 0);
        p.data_type = data_type;
        p.start.month = uint8_t(std::stoi(yyyy_mm.substr(5)));
        return p;
    }
    RfsMonthResult calendar(RfsSearchParam p) {
        RfsMonthResult m;
        std::memset(&m, 0xAB, sizeof m); // the calendar clears it
        EXPECT_EQ(rfs_find_start(&p, &m, 0), RFS_NO_SESSION_HANDLE);
        return m;
    }
    void expect_codes(const std::vector<Call> &calls) {
        for (const Call &c : calls) {
            SCOPED_TRACE(c.what);
            const size_t before = log_.lines().size();
            EXPECT_EQ(c.call(), c.result);
            const std::vector<std::string> m = log_.messages();
            EXPECT_TRUE(!c.log || std::any_of(m.begin() + long(before), m.end(), [&](const std::string &line) {
                            return line.find(c.log) != std::string::npos;
                        })) << c.log;
        }
    }
    int search(RfsSearchParam p, RfsEventList *merged = nullptr, int32_t num = 0) {
        RfsEventList ignored{};
        return rfs_find_start(&p, merged ? merged : &ignored, num);
    }

    // What the recorder wrote that the search should list, in the library's order.
    std::vector<Found> expected(const RfsSearchParam &p) const {
        auto type_ok = [&](uint64_t type) {
            return (type & p.record_type) ||
                   std::any_of(p.integratedRecType, p.integratedRecType + p.integratedRecTypeCount,
                               [&](uint64_t m) { return (type & m) == m; });
        };
        // A second-half event is dropped when one first-half event of its
        // channel spans it (the tests build no longer chains).
        auto spanned = [&](const rec::EventTruth &e) {
            return std::any_of(truth_.begin(), truth_.end(), [&](const Mounted &o) {
                return !o.half && o.ev->chn == e.chn && o.ev->start <= e.start && o.ev->end >= e.end;
            });
        };
        std::vector<Found> out;
        for (const Mounted &m : truth_) {
            const rec::EventTruth &e = *m.ev;
            if (e.skip_flag == 1 || e.chn >= p.chnCnt || !(p.chnBit[e.chn / 8] >> (e.chn % 8) & 1)) continue;
            if (!type_ok(e.type_mask) || e.start > rfs::pack_time(p.end) || e.end < rfs::pack_time(p.start)) continue;
            if ((p.skip_zero_length && e.start == e.end) || (m.half && spanned(e))) continue;
            out.push_back({m.id, e.partition, e.file_no - 1, e.event_no - 1, e.chn, e.start, e.end});
        }
        by_start_then_channel(out);
        return out;
    }

    static std::vector<Found> listed(int h, int chn) {
        RfsEventList l{};
        EXPECT_EQ(rfs_get_event(uint32_t(h), chn, &l), 0);
        std::vector<Found> out;
        for (int i = 0; i < l.count; ++i) out.push_back(found_of(l.list[i]));
        return out;
    }
    // Every channel's list, by start then channel.
    std::vector<Found> all_listed(int h) const {
        std::vector<Found> out;
        for (int c = 0; c < channels_; ++c) std::ranges::copy(listed(h, c), std::back_inserter(out));
        by_start_then_channel(out);
        return out;
    }

    int channels_ = kChannels; // what rfs_init is given
    TempDir tmp_;
    LogCapture log_;
    std::map<std::string, Disk> disks_; // truth_ points into it

  private:
    struct Mounted { int id; bool half; const rec::EventTruth *ev; };
    std::vector<Mounted> truth_;
    std::vector<uint8_t> every_ = std::vector<uint8_t>(128, 0xFF);
};
