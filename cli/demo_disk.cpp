#include "demo_disk.h"

#include <algorithm>
#include <stdexcept>

namespace cli {

namespace {

// Small frames keep the whole disk at a few tens of MB: 10 frames a second,
// a key frame every 2 seconds.
rec::RecordOptions small_frames() {
    rec::RecordOptions o;
    o.fps = 10;
    o.key_interval = 20;
    o.key_bytes = 8000;
    o.p_bytes = 800;
    o.ref_bytes = 3000;
    return o;
}

rec::RecordOptions with_reference_frames() {
    rec::RecordOptions o = small_frames();
    o.ref_every = 3;
    return o;
}

const rec::EventTruth *holding(const std::vector<const rec::EventTruth *> &events, rec::PackedTime at) {
    for (const rec::EventTruth *ev : events)
        if (ev->start <= at && at <= ev->end) return ev;
    return nullptr;
}

} // namespace

DemoDisk write_demo_disk(const std::string &image, const DemoPlan &plan) {
    using rec::t;
    rec::DiskSpec spec;
    spec.data_file_size = rec::kFile256M;
    spec.partitions = 2;
    spec.files_per_partition = 8;
    DemoDisk disk;
    disk.recorder = std::make_unique<rec::Recorder>(spec, image);
    rec::Recorder &r = *disk.recorder;
    const rec::RecordOptions o = small_frames();
    const rec::PackedTime moment = t(plan.moment);
    r.record(0, t("2026-03-01 08:00:00"), t("2026-03-01 08:10:00"), rec::kTimed, o);
    r.record(plan.chn, t("2026-03-01 09:00:00"), t("2026-03-01 09:03:00"), rec::kMotion, o);
    disk.played = holding(r.record(plan.chn, t("2026-03-01 09:20:00"), t("2026-03-01 09:22:00"),
                                   rec::kMotion | rec::kAlarm, o), moment);
    r.record(plan.chn, t("2026-03-01 09:45:00"), t("2026-03-01 09:50:00"), rec::kMotion, o);
    r.record(2, t("2026-03-01 10:00:00"), t("2026-03-01 10:05:00"), rec::kAlarm, with_reference_frames());
    r.snapshot(2, t("2026-03-01 10:01:00"), 30000);
    r.label(2, t("2026-03-01 10:02:00"), "gate opened");
    r.use_partition(1);
    r.record(3, t("2026-03-02 11:00:00"), t("2026-03-02 11:04:00"), rec::kManual, o);
    r.record(plan.chn, t("2026-03-02 07:00:00"), t("2026-03-02 07:02:00"), rec::kMotion, o);
    r.finish();
    if (!disk.played) throw std::logic_error("the demo's moment lies in no recorded event");
    disk.channels = 4;
    return disk;
}

std::vector<uint8_t> expected_playback(const rec::Recorder &recorder, const rec::EventTruth &ev, rec::PackedTime at) {
    if (ev.kframes.empty()) return {};
    const rec::KeyFrame *kf = &ev.kframes.front();
    for (const rec::KeyFrame &k : ev.kframes)
        if (k.time <= at) kf = &k;
    const std::vector<uint8_t> stored = recorder.stream(ev);
    const size_t end = std::min<size_t>(ev.data_size, stored.size());
    auto stretch = [&](uint32_t from, size_t to, std::vector<uint8_t> &out) {
        if (from < ev.data_start || from - ev.data_start > to || to > end) return false;
        out.insert(out.end(), stored.begin() + long(from - ev.data_start), stored.begin() + long(to));
        return true;
    };
    std::vector<uint8_t> out;
    if (kf->ref_length != 0 && kf->ref_offset != kf->offset) {
        size_t ref_end = size_t(kf->ref_offset - ev.data_start) + ((kf->ref_length + 7) & ~7u);
        if (!stretch(kf->ref_offset, ref_end, out)) return {};
    }
    if (!stretch(kf->offset, end, out)) return {};
    return out;
}

} // namespace cli
