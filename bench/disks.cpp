#include "disks.h"

#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <stdexcept>

namespace bench {

const rec::PackedTime kStart = rec::t("2026-03-01 00:00:00");

const std::vector<Scale> &all_scales() {
    static const std::vector<Scale> scales = {
        {"100", 16, 14, 96, 60, 160},
        {"1000", 32, 61, 128, 20, 1200},
        {"10000", 32, 111, 720, 2, 10400},
    };
    return scales;
}

const Scale *find_scale(const std::string &name) {
    for (const Scale &s : all_scales())
        if (name == s.name) return &s;
    return nullptr;
}

namespace {

class WorkDir {
  public:
    WorkDir() {
        std::string pattern = (std::filesystem::temp_directory_path() / "rfs-bench-XXXXXX").string();
        if (!mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp failed");
        path_ = pattern;
    }
    ~WorkDir() {
        std::error_code ec;
        std::filesystem::remove_all(path_, ec);
    }
    const std::string &path() const { return path_; }

  private:
    std::string path_;
};

// Mixed record types, rotating with the event and the channel.
uint64_t type_of(int i, int c) {
    static const uint64_t types[] = {rec::kTimed, rec::kMotion, rec::kTimed | rec::kMotion,
                                     rec::kAlarm, rec::kManual};
    return types[(i + c) % 5];
}

Disk describe(const rec::Recorder &r, const std::string &path, bool nas) {
    Disk d;
    d.path = path;
    d.nas = nas;
    d.geometry = r.geometry();
    d.events = int64_t(r.events().size());
    int files = 0;
    for (const rec::EventTruth &e : r.events()) files = std::max(files, e.file_no);
    d.data_files = files;
    return d;
}

rec::RecordOptions scale_options() {
    rec::RecordOptions o;
    o.fps = 1;
    o.key_interval = 4;
    return o;
}

std::unique_ptr<rec::Recorder> record_scale(const Scale &s, bool nas, const std::string &path) {
    rec::DiskShape shape;
    shape.nas = nas;
    shape.headers_only = true;
    shape.keep_truth = false;
    shape.labels = false;
    shape.files_per_partition = s.files;
    auto r = std::make_unique<rec::Recorder>(shape, path);
    const int64_t spacing = 86400 / s.per_day;
    for (int d = 0; d < s.days; ++d)
        for (int i = 0; i < s.per_day; ++i)
            for (int c = 0; c < s.channels; ++c) {
                rec::PackedTime start = rec::add_seconds(kStart, d * 86400 + i * spacing + c * 7);
                r->record(c, start, rec::add_seconds(start, s.duration), type_of(i, c), scale_options());
            }
    return r;
}

Disk make_scale_disk(const Scale &s, bool nas) {
    std::string path = work_dir() + "/" + s.name + (nas ? "-nas" : ".img");
    auto r = record_scale(s, nas, path);
    r->finish();
    return describe(*r, path, nas);
}

Disk make_power_cut_disk(bool nas) {
    const Scale &s = all_scales().front();
    std::string path = work_dir() + "/cut" + (nas ? "-nas" : ".img");
    auto r = record_scale(s, nas, path);
    const rec::PackedTime at = rec::add_seconds(kStart, int64_t(s.days) * 86400);
    for (int c = 0; c < s.channels; ++c)
        r->record_interrupted(c, at, rec::add_seconds(at, 600), rec::kTimed, scale_options(),
                              rec::Cut::KeyFramesWritten);
    r->power_loss();
    return describe(*r, path, nas);
}

SeekDisk make_seek_disk() {
    rec::DiskShape shape;
    shape.headers_only = true;
    shape.labels = false;
    shape.files_per_partition = 4;
    std::string path = work_dir() + "/seek.img";
    rec::Recorder r(shape, path);
    rec::RecordOptions o;
    o.fps = 1;
    o.key_interval = 1;
    SeekDisk out;
    rec::PackedTime at = kStart;
    std::vector<const rec::EventTruth *> made;
    for (int kframes : {100, 1000, 10000}) {
        auto evs = r.record(0, at, rec::add_seconds(at, kframes - 1), rec::kTimed, o);
        made.insert(made.end(), evs.begin(), evs.end());
        at = rec::add_seconds(at, kframes + 60);
    }
    o.ref_every = 1;
    auto evs = r.record(0, at, rec::add_seconds(at, 1999), rec::kMotion, o);
    made.insert(made.end(), evs.begin(), evs.end());
    if (made.size() != 4) throw std::logic_error("seek disk: an event was split");
    for (const rec::EventTruth *e : made) out.events.push_back(*e);
    r.finish();
    out.disk = describe(r, path, false);
    return out;
}

SeekDisk make_media_disk() {
    rec::DiskShape shape;
    shape.labels = false;
    shape.files_per_partition = 2;
    std::string path = work_dir() + "/media.img";
    rec::Recorder r(shape, path);
    rec::RecordOptions o; // 25 fps, a key frame every 2 s
    o.ref_every = 5;
    o.p_bytes = 12000;
    auto evs = r.record(0, kStart, rec::add_seconds(kStart, 210), rec::kTimed, o);
    if (evs.size() != 1) throw std::logic_error("media disk: the event was split");
    SeekDisk out;
    out.events.push_back(*evs[0]);
    r.finish();
    out.disk = describe(r, path, false);
    return out;
}

} // namespace

const std::string &work_dir() {
    static WorkDir dir;
    return dir.path();
}

const Disk &scale_disk(const Scale &s, bool nas) {
    static std::map<std::pair<std::string, bool>, Disk> made;
    auto key = std::make_pair(std::string(s.name), nas);
    auto it = made.find(key);
    if (it == made.end()) it = made.emplace(key, make_scale_disk(s, nas)).first;
    return it->second;
}

const Disk &power_cut_disk(bool nas) {
    if (nas) {
        static const Disk disk = make_power_cut_disk(true);
        return disk;
    }
    static const Disk disk = make_power_cut_disk(false);
    return disk;
}

const SeekDisk &seek_disk() {
    static const SeekDisk disk = make_seek_disk();
    return disk;
}

const SeekDisk &media_disk() {
    static const SeekDisk disk = make_media_disk();
    return disk;
}

} // namespace bench
