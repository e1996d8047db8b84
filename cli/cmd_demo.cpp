// rfs demo [DIR]: the main job from end to end on an example disk, checked
// against what the recorder wrote.
#include <chrono>
#include <cinttypes>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "args.h"
#include "commands.h"
#include "console.h"
#include "demo_disk.h"
#include "disks.h"
#include "errors.h"
#include "safe_output.h"
#include "event_search.h"
#include "time_text.h"

namespace cli {

namespace {

namespace fs = std::filesystem;

const char kUsage[] =
    "usage: rfs demo [DIR] [--force] [--verbose]\n"
    "\n"
    "Writes a small example disk with the recorder simulator, mounts it, shows\n"
    "its info, lists one day of one channel, seeks into an event, exports a\n"
    "short clip and checks every exported byte against what the recorder wrote.\n"
    "Exits 0 only when the check passes.\n"
    "\n"
    "  DIR         keep the disk image and the clip there (default: a temporary\n"
    "              folder, removed at the end)\n"
    "  --force     replace a demo.img or clip.bin already in DIR\n"
    "  --verbose   the library's log lines and prints on stderr\n";

// The demo's folder: the one given, or a temporary one removed at the end.
class WorkDir {
  public:
    explicit WorkDir(const std::vector<std::string> &given) {
        if (given.size() > 1) throw UsageError("demo takes at most one folder");
        if (!given.empty()) {
            path_ = given[0];
            std::error_code ec;
            fs::create_directories(path_, ec);
            if (!fs::is_directory(path_)) throw ToolError("cannot make the folder " + path_);
            return;
        }
        std::string pattern = (fs::temp_directory_path() / "rfs-demo-XXXXXX").string();
        if (!mkdtemp(pattern.data())) throw ToolError("cannot make a temporary folder");
        path_ = pattern;
        temporary_ = true;
    }
    ~WorkDir() {
        std::error_code ec;
        if (temporary_) fs::remove_all(path_, ec);
    }
    WorkDir(const WorkDir &) = delete;
    WorkDir &operator=(const WorkDir &) = delete;
    std::string file(const std::string &name) const { return (fs::path(path_) / name).string(); }
    bool temporary() const { return temporary_; }

  private:
    std::string path_;
    bool temporary_ = false;
};

std::vector<uint8_t> file_bytes(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void heading(int step, const char *text) { print_out("\n%d. %s\n", step, text); }

void show_written(const DemoDisk &disk, const std::string &image) {
    const rec::Recorder &r = *disk.recorder;
    heading(1, "The recorder simulator wrote a disk");
    print_out("   %s: a raw image, %zu events on %d channels (the ready demo scenario), %zu snapshots, %zu labels\n",
            image.c_str(), r.events().size(), disk.channels, r.pictures().size(), r.labels().size());
}

void show_seek(const RfsEvent &ev, const DemoDisk &disk, const DemoPlan &plan) {
    heading(4, "Seek into an event");
    print_out("   channel %d at %s lies in the event %s .. %s.\n", plan.chn, plan.moment.c_str(),
            time_text(ev.start).c_str(), time_text(ev.end).c_str());
    const rec::KeyFrame *kf = key_frame_at(*disk.played, rec::t(plan.moment));
    if (!kf) return;
    bool has_ref = kf->ref_length != 0 && kf->ref_offset != kf->offset;
    print_out("   Playback starts at the key frame at or before it, %s ('%c'%s).\n",
            rec::format_time(kf->time).c_str(), kf->type,
            has_ref ? ", delivered after the reference frame it needs" : "");
}

bool check_clip(const DemoDisk &disk, const DemoPlan &plan, const std::string &clip) {
    std::vector<uint8_t> expected = expected_playback(*disk.recorder, *disk.played, rec::t(plan.moment));
    std::vector<uint8_t> got = file_bytes(clip);
    bool same = !expected.empty() && got == expected;
    heading(6, "Check against what the recorder wrote");
    if (same) {
        print_out("   PASS: the %zu exported bytes are exactly the bytes the recorder stored.\n", got.size());
        return true;
    }
    auto diff = std::mismatch(got.begin(), got.end(), expected.begin(), expected.end());
    print_out("   FAIL: exported %zu bytes, the recorder stored %zu; first difference at byte %td.\n",
            got.size(), expected.size(), diff.first - got.begin());
    return false;
}

void show_next_steps(const WorkDir &dir, const DemoPlan &plan) {
    if (dir.temporary()) {
        write_out("\nThe example lived in a temporary folder, now removed; run 'rfs demo DIR' to keep it.\n");
        return;
    }
    std::string image = dir.file("demo.img");
    print_out(
            "\nTry it yourself:\n"
            "   rfs info %s\n"
            "   rfs ls %s --channel %d --from %s --to %s --json\n"
            "   rfs export %s --channel %d --at \"%s\" --keyframes -o keys.bin\n",
            image.c_str(), image.c_str(), plan.chn, plan.day.c_str(), plan.day.c_str(), image.c_str(), plan.chn,
            plan.moment.c_str());
}

} // namespace

int run_demo(const std::vector<std::string> &words) {
    Args args(words, {{"--verbose"}, {"--force"}});
    if (args.help()) return show_usage(kUsage);
    const bool force = args.has("--force");
    auto started = std::chrono::steady_clock::now();
    const DemoPlan plan;
    WorkDir dir(args.positional());
    const std::string image = dir.file("demo.img"), clip = dir.file("clip.bin");
    for (const std::string &file : {image, clip}) check_output_target(file, {}, force);
    write_out("rfs demo: a recorder's day written to an example disk, then read back through librfs\n");

    DemoDisk disk = write_demo_disk(image, plan);
    show_written(disk, image);
    bool passed = false;
    {
        MountedDisks disks({image}, {false, args.has("--verbose"), -1});
        heading(2, "Mounted it (copy-on-write: the image is never written). rfs info:");
        show_info(disks);

        heading(3, ("The events of channel " + std::to_string(plan.chn) + " on " + plan.day + " (rfs ls):").c_str());
        RfsDateTime day_start = parse_time_text(plan.day), day_end = parse_time_text(plan.day, DateOnly::EndOfDay);
        EventSearch day({{plan.chn}, day_start, day_end, ~0ull});
        show_events(day.all_events());
        show_seek(day.event_at(plan.chn, parse_time_text(plan.moment)), disk, plan);

        heading(5, "Export a short clip (rfs export --at)");
        RfsDateTime moment = parse_time_text(plan.moment);
        ExportSummary sum = export_events({plan.chn, true, moment, moment, false, clip, force, disks.guarded()}, disks);
        print_out("   %" PRIu64 " bytes from the seek point to the end of the event -> %s\n", sum.bytes,
                clip.c_str());
        passed = check_clip(disk, plan, clip);
    }
    show_next_steps(dir, plan);
    double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    print_out("\nDemo %s in %.2f s.\n", passed ? "passed" : "FAILED", seconds);
    return passed ? 0 : kExitFailure;
}

} // namespace cli
