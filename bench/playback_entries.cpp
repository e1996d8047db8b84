// Time seeks, key-frame steps and streaming on the seek and media disks.
#include <algorithm>
#include <memory>

#include "harness.h"
#include "trace.h"

namespace bench {

namespace {

// A read session on event `index` of channel 0's list (the disk's events in
// time order), its data file already open.
struct Session {
    int handle = -1;
    int rd = -1;
    RfsEvent event{};
    std::vector<uint8_t> buffer;
    unsigned skip = 0;
    RfsDateTime frame_time{};

    Session(const SeekDisk &d, size_t index, size_t buffer_bytes) : buffer(buffer_bytes) {
        mount_disks({{[&d]() -> const Disk & { return d.disk; }}});
        RfsSearchParam p = search_param(d.events.front().start, d.events.back().end, 0);
        handle = rfs_find_start(&p, nullptr, 0);
        check(handle >= 0, "search on the seek disk");
        RfsEventList list{};
        check(rfs_get_event(uint32_t(handle), 0, &list) == 0 && size_t(list.count) > index,
              "event list");
        event = list.list[index];
        rd = rfs_read_start(0);
        check(rd >= 0 && seek(event.start, 0) == 0, "first seek");
    }
    ~Session() {
        rfs_read_stop(rd);
        rfs_find_stop(uint32_t(handle));
    }
    int seek(const RfsDateTime &t, int mode) { return rfs_tseek(rd, &t, mode, 0, &event, 1); }
    int read() { return rfs_read(rd, buffer.data(), int(buffer.size()), &skip, &frame_time); }
    int step(int dir) {
        int len = int(buffer.size());
        return dir > 0 ? rfs_get_next_kframe(rd, buffer.data(), len, &skip, 1, &frame_time)
                       : rfs_get_prev_kframe(rd, buffer.data(), len, &skip, 1, &frame_time);
    }
};

// 16 seeks spread evenly over the event, alternately to the key frame at or
// before and at or after the moment.
Entry tseek_entry(size_t index, const std::string &label) {
    return {"rfs_tseek, per seek", "seek disk, " + label, [index] {
                const SeekDisk &d = seek_disk();
                auto s = std::make_shared<Session>(d, index, 4096);
                constexpr int kSeeks = 16;
                const rec::EventTruth &e = d.events[index];
                int64_t span = rec::packed_to_unix(e.end) - rec::packed_to_unix(e.start);
                std::vector<RfsDateTime> at;
                for (int i = 0; i < kSeeks; ++i)
                    at.push_back(datetime(rec::add_seconds(e.start, span * i / (kSeeks - 1))));
                Op op;
                op.items = kSeeks;
                op.run = [s, at] {
                    for (int i = 0; i < kSeeks; ++i) check(s->seek(at[i], i & 1) == 0, "seek");
                };
                double most = 0;
                for (int i = 0; i < kSeeks; ++i) {
                    start_trace();
                    s->seek(at[i], i & 1);
                    most = std::max(most, double(stop_trace().reads));
                }
                op.counters["max_reads"] = most;
                op.done = [s]() mutable { s.reset(); };
                return op;
            }};
}

// From the oldest key frame to the newest and back, one call per frame.
Entry kframe_entry(const SeekDisk &(*disk)(), size_t index, const std::string &what) {
    return {"key-frame steps, per call", what, [disk, index] {
                const SeekDisk &d = disk();
                auto s = std::make_shared<Session>(d, index, 1 << 20);
                Op op;
                auto calls = std::make_shared<int64_t>(0);
                op.run = [s, calls] {
                    int64_t n = 0;
                    check(s->seek(s->event.start, 0) == 0, "seek");
                    for (int dir : {1, -1})
                        for (int r = 1; r > 0; ++n) r = s->step(dir);
                    *calls = n;
                };
                op.run();
                op.items = double(*calls);
                op.done = [s]() mutable { s.reset(); };
                return op;
            }};
}

// The whole event from its oldest key frame, `len` bytes a call.
Entry stream_entry(int len) {
    return {"rfs_read, whole event", "media disk, " + std::to_string(len / 1024) + " KiB buffer",
            [len] {
                const SeekDisk &d = media_disk();
                auto s = std::make_shared<Session>(d, 0, size_t(len));
                Op op;
                auto calls = std::make_shared<int64_t>(0);
                op.run = [s, calls] {
                    check(s->seek(s->event.start, 0) == 0, "seek");
                    int64_t n = 1;
                    while (s->read() > 0) ++n;
                    *calls = n;
                };
                op.run();
                op.items = double(*calls);
                op.done = [s]() mutable { s.reset(); };
                return op;
            }};
}

} // namespace

void add_playback_entries(std::vector<Entry> &out, const Options &opt) {
    (void)opt;
    out.push_back(tseek_entry(0, "100 key frames"));
    out.push_back(tseek_entry(1, "1000 key frames"));
    out.push_back(tseek_entry(2, "10000 key frames"));
    out.push_back(kframe_entry(seek_disk, 3, "seek disk, reference frame before every key frame"));
    out.push_back(kframe_entry(media_disk, 0, "media disk, reference frame every 5th"));
    for (int kib : {64, 512, 4096}) out.push_back(stream_entry(kib * 1024));
}

} // namespace bench
