#include "exercise.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "frame/time.h"

namespace {

constexpr int kChannels = 16;
uint8_t g_every_channel[kChannels / 8] = {0xFF, 0xFF};
constexpr int kBufferSize = 256 * 1024; // a multiple of 4096, larger than any test frame

RfsDateTime at(uint16_t year, uint8_t month, uint8_t day, uint8_t hour, uint8_t minute, uint8_t second) {
    return RfsDateTime{0, second, minute, hour, day, month, year};
}

struct Run {
    explicit Run(const ExerciseLimits &l) : limits(l) { std::fill(std::begin(motion_mask), std::end(motion_mask), 0xFF); }
    const ExerciseLimits &limits;
    ExerciseResult result;
    std::vector<uint8_t> buf = std::vector<uint8_t>(kBufferSize);
    uint8_t motion_mask[72]; // every cell
    // The span of the events found; the whole packed-time range until then.
    RfsDateTime first = at(0, 1, 1, 0, 0, 0), last = at(63, 12, 31, 23, 59, 59);
    bool found_any = false;

    RfsSearchParam param(uint8_t data_type, uint8_t search_type) {
        return search_everything(data_type, search_type, first, last);
    }

    // Counts a delivery and reads the time in the frame header it starts with.
    int delivered(int r, unsigned skip) {
        RfsDateTime t{};
        if (r <= 0 || unsigned(r) < skip) return r;
        result.bytes_read += uint64_t(r);
        rfs_frame_time(buf.data() + skip, r - int(skip), &t);
        return r;
    }
};

void read_stream(Run &run, int rd) {
    unsigned skip = 0;
    RfsDateTime frame_time{};
    for (int i = 0; i < run.limits.reads_per_event; ++i)
        if (run.delivered(rfs_read(rd, run.buf.data(), kBufferSize, &skip, &frame_time), skip) <= 0) break;
}

void step_kframes(Run &run, int rd) {
    unsigned skip = 0;
    RfsDateTime t{};
    uint8_t *buf = run.buf.data();
    for (int i = 0; i < run.limits.kframe_steps; ++i)
        run.delivered(rfs_get_next_kframe(rd, buf, kBufferSize, &skip, 1, &t), skip);
    for (int i = 0; i < run.limits.kframe_steps; ++i)
        run.delivered(rfs_get_prev_kframe(rd, buf, kBufferSize, &skip, 1, &t), skip);
    run.delivered(rfs_get_current_kframe(rd, buf, kBufferSize, &skip, &t), skip);
}

void read_motion_and_first_kframe(Run &run, const RfsEvent &ev) {
    MoareaResult moarea{};
    rfs_read_moarea(run.motion_mask, &ev, 1, &moarea);
    rfs_read_moarea_stop(&moarea);
    void *frame = nullptr;
    int len = 0;
    rfs_get_first_iframe(ev.chn, ev.start, ev.end, &frame, &len);
    std::free(frame);
}

// One event: seek by time both ways, read, step through key frames, seek by
// its index key, then its motion records and its first key frame.
void read_event(Run &run, const RfsEvent &ev) {
    int rd = rfs_read_start(ev.chn);
    if (rd < 0) return;
    if (rfs_tseek(rd, &ev.start, 1, 0, &ev, 1) == 0) {
        ++run.result.events_read;
        read_stream(run, rd);
        step_kframes(run, rd);
    }
    if (rfs_tseek(rd, &ev.end, 0, 0, &ev, 0) == 0) read_stream(run, rd);
    RfsEventKey key = event_key(ev);
    if (rfs_tseek_for_index(rd, &ev.start, 1, 0, &key) == 0) {
        read_stream(run, rd);
        step_kframes(run, rd);
    }
    rfs_read_stop(rd);
    read_motion_and_first_kframe(run, ev);
}

void navigate(uint32_t h, int chn) {
    RfsEvent ev{};
    rfs_get_next_event(h, chn, &ev);
    rfs_get_next_event(h, chn, &ev);
    rfs_get_pre_event(h, chn, &ev);
    rfs_get_current_event(h, chn, &ev);
}

// Reads the events of one channel's list, up to the limit left for the search.
void walk_channel(Run &run, uint32_t h, int chn, int &budget) {
    RfsEventList list{};
    if (rfs_get_event(h, chn, &list) != 0 || list.count <= 0 || !list.list) return;
    navigate(h, chn);
    for (int i = 0; i < list.count && budget > 0; ++i, --budget) {
        RfsEvent ev = list.list[i]; // the list stays valid: nothing here searches into h
        RfsDateTime seek_end = ev.end;
        rfs_event_seek(h, chn, &ev.start, &seek_end, 0);
        rfs_event_seek(h, chn, &ev.end, &seek_end, 1);
        read_event(run, ev);
    }
    MoareaResult moarea{};
    rfs_read_moarea_oneday(int(h), chn, run.motion_mask, 1, &moarea);
    rfs_read_moarea_stop(&moarea);
}

// The span of every listed event, for the searches that follow.
void note_span(Run &run, uint32_t h) {
    for (int chn = 0; chn < kChannels; ++chn) {
        RfsEventList list{};
        if (rfs_get_event(h, chn, &list) != 0 || !list.list) continue;
        run.result.events_found += std::max(list.count, 0);
        for (int i = 0; i < list.count; ++i) {
            const RfsEvent &ev = list.list[i];
            if (!run.found_any || rfs::pack_time(ev.start) < rfs::pack_time(run.first)) run.first = ev.start;
            if (!run.found_any || rfs::pack_time(ev.end) > rfs::pack_time(run.last)) run.last = ev.end;
            run.found_any = true;
        }
    }
}

void event_searches(Run &run) {
    RfsSearchParam p = run.param(0, 3);
    int h = rfs_find_start(&p, nullptr, 0);
    if (h < 0) return;
    note_span(run, uint32_t(h));
    int budget = run.limits.events;
    for (int chn = 0; chn < kChannels; ++chn) walk_channel(run, uint32_t(h), chn, budget);
    rfs_find_stop(uint32_t(h));

    RfsEventList merged{};
    p = run.param(0, 2);
    p.reserved = RFS_SEARCH_LIST_SKIPPED;
    if ((h = rfs_find_start(&p, &merged, 0)) >= 0) {
        budget = run.limits.events;
        walk_channel(run, uint32_t(h), 0, budget);
        rfs_find_stop(uint32_t(h));
    }
    // The most recent events of the month of the newest one: the search walks
    // back one day at a time, from the end to the start given.
    p = run.param(0, 3);
    p.search_mode = 4;
    p.start = at(run.last.year, run.last.month, 1, 0, 0, 0);
    if (run.found_any && (h = rfs_find_start(&p, nullptr, 20)) >= 0) rfs_find_stop(uint32_t(h));
}

void summaries(Run &run) {
    RfsMonthResult month{};
    for (uint8_t data_type : {0, 1, 2}) {
        RfsSearchParam p = run.param(data_type, 0);
        rfs_find_start(&p, &month, 0);
    }
    RfsDaySlots slots{};
    RfsSearchParam day = run.param(0, 1);
    day.start = at(run.first.year, run.first.month, run.first.day, 0, 0, 0);
    day.end = at(run.first.year, run.first.month, run.first.day, 23, 59, 59);
    rfs_find_start(&day, &slots, 0);

    RfsDateTime start{}, end{};
    rfs_get_start_end_time(&start, &end);
    get_disk_time(&start, &end);
    uint8_t with_records[kChannels / 8] = {};
    rfs_is_chn_have_record(with_records, run.first, run.last);
    for (int chn = 0; chn < kChannels; ++chn)
        rfs_get_repair_record_time(chn, ~0ull, &end);
}

void pictures(Run &run) {
    RfsSearchParam p = run.param(1, 2);
    RfsEventList unused{};
    int h = rfs_find_start(&p, &unused, 0);
    if (h < 0) return;
    RfsPicList list{};
    int rd = rfs_read_start(0);
    if (rfs_get_pic(h, 0, &list) == 0 && list.list) {
        run.result.pictures = list.count;
        unsigned skip = 0;
        for (int i = 0; rd >= 0 && i < std::min(list.count, run.limits.pictures); ++i)
            run.delivered(rfs_read_pic(rd, &list.list[i], run.buf.data(), kBufferSize, &skip), skip);
    }
    rfs_read_stop(rd);
    rfs_find_stop(uint32_t(h));
}

void labels(Run &run) {
    RfsSearchParam p = run.param(2, 3);
    if (rfs_find_label_start(&p, "") == 0) {
        for (int chn = 0; chn < kChannels; ++chn) {
            RfsLabelList list{};
            if (rfs_get_label(chn, &list) == 0 && list.list) run.result.labels += list.count;
        }
    }
    rfs_find_label_stop();
}

void mounted_disk(Run &run) {
    uint32_t total_mb = 0, free_mb = 0;
    uint8_t fs_type = 0;
    rfs_get_data_file_size(0);
    rfs_get_disk_size(0, &total_mb, &free_mb, &fs_type);
    RfsRepairAction actions[64];
    rfs_get_repair_actions(0, actions, 64);
    RfsPartitionInfo info{};
    for (int p = 0; p <= 16; ++p) rfs_get_partition_info(0, p, &info);
    event_searches(run);
    summaries(run);
    pictures(run);
    labels(run);
}

} // namespace

RfsSearchParam search_everything(uint8_t data_type, uint8_t search_type, RfsDateTime start, RfsDateTime end) {
    RfsSearchParam p{};
    p.data_type = data_type;
    p.search_type = search_type;
    p.chnCnt = kChannels;
    p.record_type = ~0ull;
    p.start = start;
    p.end = end;
    p.chnBit = g_every_channel;
    return p;
}

RfsEventKey event_key(const RfsEvent &ev) {
    RfsEventKey key{};
    key.event_no = ev.event_id;
    key.file_no = uint16_t(ev.record_id);
    key.partition = uint8_t(ev.record_id >> 16);
    key.disk = uint8_t(ev.record_id >> 24);
    key.start = ev.start;
    key.end = ev.end;
    return key;
}

void reset_library() {
    for (uint32_t h = 0; h < 64; ++h) rfs_find_stop(h);
    for (int rd = 0; rd < 64; ++rd) rfs_read_stop(rd);
    for (int id = 0; id < 32; ++id) rfs_remove_disk(id);
    rfs_exit();
}

ExerciseResult exercise_disk(const char *path, const ExerciseLimits &limits) {
    Run run(limits);
    rfs_init(kChannels, 1);
    rfs_format_is_valid(path);
    run.result.mount = rfs_add_disk(0, path, 0, 0, nullptr);
    if (run.result.mount == 0) mounted_disk(run);
    reset_library(); // stopping every session also ends the first-key-frame lookup's
    return run.result;
}
