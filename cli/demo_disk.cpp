#include "demo_disk.h"

#include <algorithm>
#include <set>
#include <stdexcept>

#include "demo_scenario.h"
#include "scenario.h"

namespace cli {

DemoDisk write_demo_disk(const std::string &image, const DemoPlan &plan) {
    DemoDisk disk;
    disk.recorder = rec::run_scenario(kDemoScenario, image, false);
    const rec::PackedTime moment = rec::t(plan.moment);
    std::set<int> channels;
    for (const rec::EventTruth &ev : disk.recorder->events()) {
        channels.insert(ev.chn);
        if (ev.chn == plan.chn && ev.start <= moment && moment <= ev.end) disk.played = &ev;
    }
    if (!disk.played) throw std::logic_error("the demo's moment lies in no recorded event");
    disk.channels = int(channels.size());
    return disk;
}

PowerLossDisk write_power_loss_disk(const std::string &image, const PowerLossPlan &plan) {
    PowerLossDisk disk;
    disk.recorder = rec::run_scenario(kPowerLossScenario, image, false);
    for (const rec::EventTruth &ev : disk.recorder->events())
        if (ev.chn == plan.chn && ev.start == rec::t(plan.start) && ev.state == rec::EventState::Writing &&
            !ev.kframes.empty())
            disk.cut = &ev;
    if (!disk.cut) throw std::logic_error("the power-loss scenario left no open event with key frames");
    return disk;
}

std::vector<uint8_t> expected_saved(const rec::Recorder &recorder, const rec::EventTruth &cut) {
    rec::EventTruth saved = cut;
    const rec::KeyFrame &last = cut.kframes.back();
    saved.data_size = last.offset + last.length - cut.data_start;
    return expected_playback(recorder, saved, saved.start);
}

const rec::KeyFrame *key_frame_at(const rec::EventTruth &ev, rec::PackedTime at) {
    if (ev.kframes.empty()) return nullptr;
    const rec::KeyFrame *kf = &ev.kframes.front();
    for (const rec::KeyFrame &k : ev.kframes)
        if (k.time <= at) kf = &k;
    return kf;
}

std::vector<uint8_t> expected_playback(const rec::Recorder &recorder, const rec::EventTruth &ev, rec::PackedTime at) {
    const rec::KeyFrame *kf = key_frame_at(ev, at);
    if (!kf) return {};
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
