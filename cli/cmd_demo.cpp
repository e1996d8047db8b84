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
#include "event_search.h"
#include "safe_output.h"
#include "selection.h"
#include "time_text.h"

namespace cli {

namespace {

namespace fs = std::filesystem;

const char kUsage[] =
    "usage: rfs demo [DIR] [--force] [--verbose]\n"
    "\n"
    "Writes a small example disk with the recorder simulator, mounts it, shows\n"
    "its info, a month's calendar and a day's timeline, lists one day of one\n"
    "channel, seeks into an event, exports a short clip and checks every\n"
    "exported byte against what the recorder wrote.\n"
    "Then writes a disk the recorder left when it lost power, shows what the\n"
    "mount repairs (in memory), exports the recording the repair saves and\n"
    "checks it the same way. Exits 0 only when both checks pass.\n"
    "\n"
    "  DIR         keep the disk images and the exports there (default: a\n"
    "              temporary folder, removed at the end)\n"
    "  --force     replace a demo.img, clip.bin, power_loss.img or saved.bin\n"
    "              already in DIR\n"
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
    heading(6, "Seek into an event");
    print_out("   channel %d at %s lies in the event %s .. %s.\n", plan.chn, plan.moment.c_str(),
            time_text(ev.start).c_str(), time_text(ev.end).c_str());
    const rec::KeyFrame *kf = key_frame_at(*disk.played, rec::t(plan.moment));
    if (!kf) return;
    bool has_ref = kf->ref_length != 0 && kf->ref_offset != kf->offset;
    print_out("   Playback starts at the key frame at or before it, %s ('%c'%s).\n",
            rec::format_time(kf->time).c_str(), kf->type,
            has_ref ? ", delivered after the reference frame it needs" : "");
}

// PASS when the file holds exactly the expected bytes (`what` they are).
bool check_file(const std::vector<uint8_t> &expected, const std::string &file, const char *what) {
    std::vector<uint8_t> got = file_bytes(file);
    bool same = !expected.empty() && got == expected;
    if (same) {
        print_out("   PASS: the %zu exported bytes are exactly %s.\n", got.size(), what);
        return true;
    }
    auto diff = std::mismatch(got.begin(), got.end(), expected.begin(), expected.end());
    print_out("   FAIL: exported %zu bytes, the recorder stored %zu; first difference at byte %td.\n",
            got.size(), expected.size(), diff.first - got.begin());
    return false;
}

// Steps 3 and 4: where the disk holds something, by day and by half hour.
void show_month_and_day(const DemoPlan &plan) {
    const int year = std::stoi(plan.day.substr(0, 4)), month = std::stoi(plan.day.substr(5, 2));
    heading(3, ("The month (rfs calendar --month " + plan.day.substr(0, 7) + " --pictures --labels):").c_str());
    BrowseQuery every;
    every.channels = all_channels();
    show_calendar(read_month(year, month, every, true, true));
    heading(4, ("The day by half hour (rfs timeline --day " + plan.day + "):").c_str());
    every.from = parse_time_text(plan.day);
    every.to = parse_time_text(plan.day, DateOnly::EndOfDay);
    show_timeline(plan.day, find_day_slots(every));
}

// Steps 1 to 8: a clean disk, listed, sought into and exported.
bool play_example(const WorkDir &dir, const DemoPlan &plan, bool force, bool verbose) {
    const std::string image = dir.file("demo.img"), clip = dir.file("clip.bin");
    DemoDisk disk = write_demo_disk(image, plan);
    show_written(disk, image);
    MountedDisks disks({image}, {false, verbose, -1});
    heading(2, "Mounted it (copy-on-write: the image is never written). rfs info:");
    show_info(disks);

    show_month_and_day(plan);

    heading(5, ("The events of channel " + std::to_string(plan.chn) + " on " + plan.day + " (rfs ls):").c_str());
    RfsDateTime day_start = parse_time_text(plan.day), day_end = parse_time_text(plan.day, DateOnly::EndOfDay);
    EventSearch day({{plan.chn}, day_start, day_end, ~0ull});
    show_events(disks, day.all_events());
    show_seek(day.event_at(plan.chn, parse_time_text(plan.moment)), disk, plan);

    heading(7, "Export a short clip (rfs export --at)");
    RfsDateTime moment = parse_time_text(plan.moment);
    ExportSummary sum = export_events({plan.chn, true, moment, moment, false, clip, force, disks.guarded()}, disks);
    print_out("   %" PRIu64 " bytes from the seek point to the end of the event -> %s\n", sum.bytes, clip.c_str());
    heading(8, "Check against what the recorder wrote");
    return check_file(expected_playback(*disk.recorder, *disk.played, rec::t(plan.moment)), clip,
                      "the bytes the recorder stored");
}

// Steps 9 to 11: a disk the power cut left open, repaired in memory, and the
// recording it saves exported.
bool repair_example(const WorkDir &dir, const PowerLossPlan &plan, bool force, bool verbose) {
    const std::string image = dir.file("power_loss.img"), saved = dir.file("saved.bin");
    PowerLossDisk disk = write_power_loss_disk(image, plan);
    heading(9, "The recorder lost power while recording");
    print_out("   %s: channels 0 to 3 were recording when the power went; their open events\n"
              "   and files, and the partition's repair flag, are on the disk as the cut left them.\n",
              image.c_str());
    MountedDisks disks({image}, {false, verbose, -1, false});
    heading(10, "Mounted it: the library repairs the partition, in memory only (rfs repair):");
    show_repair(disks);

    heading(11, ("The saved recording of channel " + std::to_string(plan.chn) + ", exported (rfs ls, rfs export):").c_str());
    RfsDateTime from = parse_time_text(plan.start), to = parse_time_text(plan.start.substr(0, 10), DateOnly::EndOfDay);
    show_events(disks, EventSearch({{plan.chn}, from, to, ~0ull}).all_events());
    ExportSummary sum = export_events({plan.chn, false, from, to, false, saved, force, disks.guarded()}, disks);
    print_out("   %" PRIu64 " bytes, up to the last key frame that reached the disk -> %s\n", sum.bytes, saved.c_str());
    return check_file(expected_saved(*disk.recorder, *disk.cut), saved,
                      "the bytes the recorder stored up to that key frame");
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
            "   rfs export %s --channel %d --at \"%s\" --keyframes -o keys.bin\n"
            "   rfs motion %s --channel %d --day %s --cells 0-11:*\n"
            "   rfs pics %s --extract pictures\n"
            "   rfs labels %s --keyword door\n"
            "   rfs repair %s\n",
            image.c_str(), image.c_str(), plan.chn, plan.day.c_str(), plan.day.c_str(), image.c_str(), plan.chn,
            plan.moment.c_str(), image.c_str(), plan.chn, plan.day.c_str(), image.c_str(), image.c_str(),
            dir.file("power_loss.img").c_str());
}

} // namespace

int run_demo(const std::vector<std::string> &words) {
    Args args(words, {{"--verbose"}, {"--force"}});
    if (args.help()) return show_usage(kUsage);
    const bool force = args.has("--force");
    auto started = std::chrono::steady_clock::now();
    const DemoPlan plan;
    WorkDir dir(args.positional());
    for (const char *name : {"demo.img", "clip.bin", "power_loss.img", "saved.bin"})
        check_output_target(dir.file(name), {}, force);
    write_out("rfs demo: a recorder's day written to an example disk, then read back through librfs\n");
    bool passed = play_example(dir, plan, force, args.has("--verbose"));
    passed = repair_example(dir, PowerLossPlan{}, force, args.has("--verbose")) && passed;
    show_next_steps(dir, plan);
    double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    print_out("\nDemo %s in %.2f s.\n", passed ? "passed" : "FAILED", seconds);
    return passed ? 0 : kExitFailure;
}

} // namespace cli
