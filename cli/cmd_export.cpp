// rfs export DISK...: one channel's stored stream, as the library delivers it.
#include <cinttypes>
#include <cstdio>
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>

#include "args.h"
#include "commands.h"
#include "console.h"
#include "disks.h"
#include "errors.h"
#include "event_search.h"
#include "event_stream.h"
#include "problems.h"
#include "safe_output.h"
#include "selection.h"
#include "time_text.h"

namespace cli {

namespace {

const char kUsage[] =
    "usage: rfs export DISK... --channel N (--at TIME | --from TIME --to TIME) -o FILE\n"
    "                          [--keyframes | --first-keyframe] [--force] [--strict] [--index-copy K]\n"
    "                          [--write] [--verbose]\n"
    "\n"
    "Writes the stored stream of one channel exactly as the library delivers it.\n"
    "With --at: the event recording at TIME, from the key frame at or before TIME\n"
    "to the end of the event. With --from/--to: every event that overlaps the\n"
    "range, the first from the key frame at or before --from, each to its end.\n"
    "Events of several disks that overlap in time would interleave in one file:\n"
    "such a range export is refused; export one disk at a time.\n"
    "\n"
    "  --channel N      the channel\n"
    "  --at TIME        YYYY-MM-DD HH:MM:SS (or ISO 8601 YYYY-MM-DDTHH:MM:SS)\n"
    "  --from TIME      the same, or YYYY-MM-DD for 00:00:00\n"
    "  --to TIME        inclusive; YYYY-MM-DD means 23:59:59 of that day\n"
    "  -o FILE          output file; - for standard output. It is written beside\n"
    "                   FILE under a temporary name and takes FILE's name only when\n"
    "                   the export is whole. Never one of the disks, a file inside a\n"
    "                   NAS disk's folder, a device or a folder; never an existing\n"
    "                   file unless --force\n"
    "  --keyframes      only the key frames (each after its reference frame, if it has one)\n"
    "  --first-keyframe with --from/--to: only the first key frame at or after --from\n"
    "                   of the first recording that reaches --from and starts by --to,\n"
    "                   after its reference frame if it has one (the library's\n"
    "                   first-key-frame lookup; a frame past --to is said)\n"
    "  --force          replace an existing output file\n"
    "  --strict         exit 1 when an event ended before its recorded size\n"
    "  --index-copy K   read every partition as its index copy K (0..3) holds it, in memory\n"
    "  --write          let the library's repairs reach the disk\n"
    "  --verbose        the library's log lines and prints on stderr\n"
    "\n"
    "A progress bar is drawn when stderr is a terminal; a summary ends the run.\n";

// The most a first key frame may take; a larger size in the key-frame index
// is refused rather than read.
constexpr int kMaxKeyFrame = 64 << 20;

// The channel's events to export, with the time each one's playback starts at.
struct Planned {
    RfsEvent ev;
    RfsDateTime start;
};

std::string event_text(const RfsEvent &ev) {
    return "disk " + std::to_string(ev.record_id >> 24) + " (" + time_text(ev.start) + " .. " + time_text(ev.end) + ")";
}

// The planned events are in start order; events of two disks that overlap in
// time would interleave their streams in one file.
void refuse_interleaving(const std::vector<Planned> &planned) {
    for (size_t i = 1; i < planned.size(); ++i)
        for (size_t j = 0; j < i; ++j) {
            const RfsEvent &a = planned[j].ev, &b = planned[i].ev;
            if (a.record_id >> 24 != b.record_id >> 24 && packed(b.start) <= packed(a.end))
                throw ToolError("the events " + event_text(a) + " and " + event_text(b) +
                                " overlap in time and would interleave in one file: export one disk at a time");
        }
}

std::vector<Planned> plan(EventSearch &search, const ExportRequest &r) {
    if (r.at_moment) return {{search.event_at(r.chn, r.from), r.from}};
    std::vector<Planned> planned;
    for (const RfsEvent &ev : search.events(r.chn)) {
        if (ev.covered) continue;
        planned.push_back({ev, packed(ev.start) < packed(r.from) ? r.from : ev.start});
    }
    if (planned.empty())
        throw ToolError("no recording on channel " + std::to_string(r.chn) + " between " + time_text(r.from) +
                        " and " + time_text(r.to));
    refuse_interleaving(planned);
    return planned;
}

// Where the stream goes: standard output (checked) or the safe output file.
class Destination {
  public:
    explicit Destination(const ExportRequest &r) {
        if (r.output != "-") file_ = std::make_unique<OutputFile>(r.output, r.guarded, r.force);
    }
    void write(const uint8_t *data, size_t size) {
        if (file_)
            file_->write(data, size);
        else
            write_out(std::string_view(reinterpret_cast<const char *>(data), size));
    }
    void commit() {
        if (file_) file_->commit();
    }

  private:
    std::unique_ptr<OutputFile> file_;
};

// A short read at the end of a data file ends an event without an error; an
// event played from its start must deliver its recorded size.
void check_whole(const Planned &p, const StreamResult &result) {
    if (packed(p.start) > packed(p.ev.start) || result.bytes >= p.ev.data_size) return;
    problems().add("export", "channel " + std::to_string(p.ev.chn) + " event " + time_text(p.ev.start) + " .. " +
                                 time_text(p.ev.end) + " ended after " + std::to_string(result.bytes) + " of its " +
                                 std::to_string(p.ev.data_size) + " recorded bytes");
}

void write_stream(const std::vector<Planned> &planned, const ExportRequest &r, Destination &out, ExportSummary &sum) {
    uint64_t total = 0;
    for (const Planned &p : planned) total += p.ev.data_size;
    Progress progress("exporting", total);
    auto sink = [&](const uint8_t *data, size_t size) {
        out.write(data, size);
        sum.bytes += size;
        progress.update(sum.bytes);
    };
    for (const Planned &p : planned) {
        StreamResult result = stream_event(p.ev, p.start, r.key_frames ? StreamKind::KeyFrames : StreamKind::All, sink);
        sum.key_frames += result.key_frames;
        if (sum.events++ == 0) sum.first_frame = packed(result.first_frame) ? result.first_frame : p.start;
        check_whole(p, result);
    }
    sum.last_end = planned.back().ev.end;
}

ExportRequest request_from(const Args &args) {
    ExportRequest r;
    std::vector<int> channels = parse_channel_list(args.value("--channel"));
    if (channels.size() != 1) throw UsageError("export takes one channel");
    r.chn = channels[0];
    r.at_moment = args.has("--at");
    if (r.at_moment == (args.has("--from") || args.has("--to")))
        throw UsageError("give either --at TIME or --from TIME --to TIME");
    if (r.at_moment) {
        r.from = r.to = parse_time_text(args.value("--at"));
    } else {
        r.from = parse_time_text(args.value("--from"));
        r.to = parse_time_text(args.value("--to"), DateOnly::EndOfDay);
        if (packed(r.to) < packed(r.from)) throw UsageError("--to is before --from");
    }
    r.key_frames = args.has("--keyframes");
    r.first_key_frame = args.has("--first-keyframe");
    if (r.first_key_frame && (r.at_moment || r.key_frames))
        throw UsageError("--first-keyframe takes --from and --to, and not --keyframes");
    r.output = args.value("-o");
    r.force = args.has("--force");
    return r;
}

void print_summary(const ExportRequest &r, const ExportSummary &sum) {
    FILE *o = r.output == "-" ? stderr : out();
    std::string asked = r.at_moment ? "at " + time_text(r.from) : "from " + time_text(r.from);
    int n = fprintf(o, "exported %d event%s of channel %d (asked %s; first frame written %s, last event ends %s): %" PRIu64
                    " bytes", sum.events, sum.events == 1 ? "" : "s", r.chn, asked.c_str(), time_text(sum.first_frame).c_str(),
                    time_text(sum.last_end).c_str(), sum.bytes);
    if (r.key_frames) n = std::min(n, fprintf(o, " in %d key frames", sum.key_frames));
    n = std::min(n, fprintf(o, " to %s\n", r.output == "-" ? "standard output" : r.output.c_str()));
    if (n < 0) throw ToolError("cannot write the summary: " + system_reason(errno));
}

void print_first_key_frame(const ExportRequest &r, const KeyFrameSummary &sum) {
    FILE *o = r.output == "-" ? stderr : out();
    std::string first = sum.timed ? ", starting with the frame stored at " + time_text(sum.first_frame) : "";
    if (fprintf(o, "exported the first key frame of channel %d between %s and %s: %d bytes%s, to %s\n", r.chn,
                time_text(r.from).c_str(), time_text(r.to).c_str(), sum.bytes, first.c_str(),
                r.output == "-" ? "standard output" : r.output.c_str()) < 0)
        throw ToolError("cannot write the summary: " + system_reason(errno));
}

// Why the lookup found nothing: the library says so in its log only. Its
// failure lines all hold "err"; without one the range holds no key frame.
std::string no_key_frame(const ExportRequest &r, const LibraryLines &log) {
    std::string where = "channel " + std::to_string(r.chn) + " between " + time_text(r.from) + " and " + time_text(r.to);
    if (std::string line = log.find("buf is small"); !line.empty())
        return "the first key frame of " + where + " is larger than the " + std::to_string(kMaxKeyFrame >> 20) +
               " MiB a key frame may take (the library says: " + line + "); its key-frame index is likely damaged";
    for (auto it = log.lines().rbegin(); it != log.lines().rend(); ++it)
        if (it->find("err") != std::string::npos)
            return "the first key frame of " + where + " cannot be read (the library says: " + *it + ")";
    return "no key frame of " + where;
}

} // namespace

KeyFrameSummary export_first_key_frame(const ExportRequest &r) {
    // The frame's size comes from the key-frame index on the disk: the
    // library reads it into a buffer of ours, of a size we choose, rather
    // than one it would size from the disk.
    std::unique_ptr<void, decltype(&free)> frame(malloc(kMaxKeyFrame), free);
    if (!frame) throw ToolError("out of memory for a key frame");
    void *buf = frame.get();
    int len = kMaxKeyFrame;
    LibraryLines log;
    if (rfs_get_first_iframe(r.chn, r.from, r.to, &buf, &len) != 0 || len <= 0) throw ToolError(no_key_frame(r, log));
    Destination out(r);
    out.write(static_cast<const uint8_t *>(frame.get()), size_t(len));
    out.commit();
    KeyFrameSummary sum;
    sum.bytes = len;
    sum.timed = rfs_frame_time(frame.get(), len, &sum.first_frame) == 0;
    // The lookup picks the recording and takes its first key frame at or
    // after --from, even when that one lies past --to.
    if (sum.timed && packed(sum.first_frame) > packed(r.to))
        problems().add("key_frame", "the key frame delivered is stored at " + time_text(sum.first_frame) +
                                        ", after --to: the recording holds none between --from and --to");
    return sum;
}

ExportSummary export_events(const ExportRequest &r, const MountedDisks &disks) {
    EventSearch search({{r.chn}, r.from, r.to, ~0ull});
    std::vector<Planned> planned = plan(search, r);
    for (const Planned &p : planned)
        if (std::string why = disks.data_file_failure(p.ev); !why.empty()) throw ToolError(why);
    Destination out(r);
    ExportSummary sum;
    write_stream(planned, r, out, sum);
    out.commit();
    return sum;
}

int run_export(const std::vector<std::string> &words) {
    Args args(words, disk_options({{"--channel", true}, {"--at", true}, {"--from", true}, {"--to", true},
                                   {"-o", true}, {"--keyframes"}, {"--first-keyframe"}, {"--force"}}));
    if (args.help()) return show_usage(kUsage);
    ExportRequest request = request_from(args);
    MountOptions options = mount_options(args);
    for (const std::string &p : args.positional()) request.guarded.push_back(guard_disk(p));
    if (request.output != "-") check_output_target(request.output, request.guarded, request.force);
    MountedDisks disks(args.positional(), options);
    if (request.first_key_frame)
        print_first_key_frame(request, export_first_key_frame(request));
    else
        print_summary(request, export_events(request, disks));
    return 0;
}

} // namespace cli
