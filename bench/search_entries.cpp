// Event searches, navigation and rfs_event_seek on the scale disks.
#include <malloc.h>

#include <algorithm>

#include "frame/state.h"
#include "harness.h"

namespace bench {

namespace {

rec::PackedTime day_start(int d) { return rec::add_seconds(kStart, int64_t(d) * 86400); }
rec::PackedTime day_end(int d) { return rec::add_seconds(day_start(d), 86399); }

// The lists' heap blocks beyond the RfsEvent records themselves, per listed
// event.
double list_overhead_per_event(int handle, int64_t listed) {
    const rfs::SearchSession &s = rfs::g_search[handle];
    double bytes = 0;
    for (int c = 0; c < kChannels; ++c) bytes += double(malloc_usable_size(s.event_list[c]));
    return listed ? (bytes - double(listed) * sizeof(RfsEvent)) / double(listed) : 0;
}

int start_search(const RfsSearchParam &p, int32_t num) {
    RfsSearchParam q = p; // the most-recent-N search rewrites its request
    RfsEventList merged{};
    int h = rfs_find_start(&q, &merged, num);
    check(h >= 0 && h < 64, "search");
    return h;
}

Entry search_entry(const std::string &name, const std::string &label, std::vector<Mount> mounts,
                   RfsSearchParam p, int32_t num = 0) {
    return {name, label, [=] {
                mount_disks(mounts);
                Op op;
                op.run = [=] { rfs_find_stop(uint32_t(start_search(p, num))); };
                int h = start_search(p, num);
                int64_t listed = listed_events(h);
                op.counters["listed"] = double(listed);
                op.counters["list_bytes_per_event"] = list_overhead_per_event(h, listed);
                rfs_find_stop(uint32_t(h));
                return op;
            }};
}

// One channel's list walked forward to its end and back to its start.
Entry navigation_entry(const std::string &label, Mount disk, rec::PackedTime to) {
    return {"rfs_get_next_event / pre, per call", label, [disk, to] {
                mount_disks({disk});
                int h = start_search(search_param(kStart, to, 0), 0);
                int64_t n = listed_events(h);
                Op op;
                op.items = double(2 * n);
                op.run = [h, n] {
                    RfsEvent ev;
                    for (int64_t i = 0; i < n; ++i) rfs_get_next_event(uint32_t(h), 0, &ev);
                    for (int64_t i = 0; i < n; ++i) rfs_get_pre_event(uint32_t(h), 0, &ev);
                };
                op.done = [h] { rfs_find_stop(uint32_t(h)); };
                op.counters["listed"] = double(n);
                return op;
            }};
}

// Seeks forward and backward to moments spread over the channel's list.
Entry event_seek_entry(const std::string &label, Mount disk, int days) {
    return {"rfs_event_seek, per call", label, [disk, days] {
                mount_disks({disk});
                rec::PackedTime to = day_end(days - 1);
                int h = start_search(search_param(kStart, to, 0), 0);
                constexpr int kSeeks = 64;
                std::vector<RfsDateTime> at;
                uint64_t x = 12345;
                for (int i = 0; i < kSeeks; ++i) {
                    x = x * 6364136223846793005ull + 1442695040888963407ull;
                    at.push_back(datetime(rec::add_seconds(kStart, int64_t((x >> 33) % (uint64_t(days) * 86400)))));
                }
                Op op;
                op.items = kSeeks;
                op.run = [h, at, end = datetime(to)]() mutable {
                    for (int i = 0; i < kSeeks; ++i) rfs_event_seek(uint32_t(h), 0, &at[i], &end, i & 1);
                };
                op.done = [h] { rfs_find_stop(uint32_t(h)); };
                op.counters["listed"] = double(listed_events(h));
                return op;
            }};
}

// A month calendar (search_type 0) or a day timeline (1): answered into a
// result record, no session kept.
Entry result_entry(const std::string &name, const std::string &label, std::vector<Mount> mounts,
                   RfsSearchParam p) {
    return {name, label, [=] {
                mount_disks(mounts);
                Op op;
                op.run = [p] {
                    RfsSearchParam q = p;
                    RfsMonthResult out; // the larger of the two results
                    check(rfs_find_start(&q, &out, 0) == RFS_NO_SESSION_HANDLE, "calendar");
                };
                return op;
            }};
}

} // namespace

void add_search_entries(std::vector<Entry> &out, const Options &opt) {
    for (const Scale *s : opt.scales) {
        auto raw_disk = [s]() -> const Disk & { return scale_disk(*s, false); };
        auto nas_disk = [s]() -> const Disk & { return scale_disk(*s, true); };
        const Mount raw{raw_disk}, nas{nas_disk}, second{raw_disk, true};
        const std::string name = s->name;
        const int mid = s->days / 2, last = s->days - 1;
        struct Kind { std::string label; std::vector<Mount> mounts; };
        const Kind kinds[] = {
            {name + " raw", {raw}},
            {name + " nas", {nas}},
            {name + " raw + second kind", {raw, second}},
        };
        for (const Kind &k : kinds) {
            out.push_back(search_entry("search: one channel, one day", k.label, k.mounts,
                                       search_param(day_start(mid), day_end(mid), 5)));
            out.push_back(search_entry("search: all channels, one day", k.label, k.mounts,
                                       search_param(day_start(mid), day_end(mid))));
            out.push_back(search_entry("search: all channels, whole range", k.label, k.mounts,
                                       search_param(kStart, day_end(last))));
            RfsSearchParam recent = search_param(kStart, day_end(last), -1, 2);
            recent.search_mode = 4;
            out.push_back(search_entry("search: most recent 5000", k.label, k.mounts, recent, 5000));
            out.push_back(result_entry("calendar: a month, all channels", k.label, k.mounts,
                                       search_param(day_start(mid), day_end(mid), -1, 0)));
            out.push_back(result_entry("timeline: a day, all channels", k.label, k.mounts,
                                       search_param(day_start(mid), day_end(mid), -1, 1)));
        }
        out.push_back(navigation_entry(name + " raw", raw, day_end(last)));
        out.push_back(event_seek_entry(name + " raw", raw, std::min(s->days, 14)));
    }
}

} // namespace bench
