// rfs export DISK...: one channel's stored stream, as the library delivers it.
#include <cinttypes>
#include <cstdio>
#include <filesystem>

#include "args.h"
#include "commands.h"
#include "console.h"
#include "disks.h"
#include "errors.h"
#include "event_search.h"
#include "event_stream.h"
#include "selection.h"
#include "time_text.h"

namespace cli {

namespace {

const char kUsage[] =
    "usage: rfs export DISK... --channel N (--at TIME | --from TIME --to TIME) -o FILE\n"
    "                          [--keyframes] [--write] [--verbose]\n"
    "\n"
    "Writes the stored stream of one channel exactly as the library delivers it.\n"
    "With --at: the event recording at TIME, from the key frame at or before TIME\n"
    "to the end of the event. With --from/--to: every event that overlaps the\n"
    "range, the first from the key frame at or before --from, each to its end.\n"
    "\n"
    "  --channel N   the channel\n"
    "  --at TIME     YYYY-MM-DD HH:MM:SS\n"
    "  --from TIME   YYYY-MM-DD HH:MM:SS, or YYYY-MM-DD for 00:00:00\n"
    "  --to TIME     inclusive; YYYY-MM-DD means 23:59:59 of that day\n"
    "  -o FILE       output file; - for standard output\n"
    "  --keyframes   only the key frames (each after its reference frame, if it has one)\n"
    "  --write       let the library's repairs reach the disk\n"
    "  --verbose     library log lines on stderr\n"
    "\n"
    "A progress bar is drawn when stderr is a terminal; a summary ends the run.\n";

// The channel's events to export, with the time each one's playback starts at.
struct Planned {
    RfsEvent ev;
    RfsDateTime start;
};

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
    return planned;
}

FILE *open_output(const std::string &path) {
    if (path == "-") return out();
    FILE *file = fopen(path.c_str(), "wb");
    if (!file) throw ToolError("cannot write " + path);
    return file;
}

void write_stream(const std::vector<Planned> &planned, const ExportRequest &r, FILE *file, ExportSummary &sum) {
    uint64_t total = 0;
    for (const Planned &p : planned) total += p.ev.data_size;
    Progress progress("exporting", total);
    auto sink = [&](const uint8_t *data, size_t size) {
        if (fwrite(data, 1, size, file) != size) throw ToolError("cannot write " + r.output);
        sum.bytes += size;
        progress.update(sum.bytes);
    };
    for (const Planned &p : planned) {
        StreamResult result = stream_event(p.ev, p.start, r.key_frames ? StreamKind::KeyFrames : StreamKind::All, sink);
        sum.key_frames += result.key_frames;
        ++sum.events;
    }
    sum.first_start = planned.front().start;
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
    r.output = args.value("-o");
    return r;
}

void print_summary(const ExportRequest &r, const ExportSummary &sum) {
    FILE *o = r.output == "-" ? stderr : out();
    fprintf(o, "exported %d event%s of channel %d, %s .. %s: %" PRIu64 " bytes", sum.events,
            sum.events == 1 ? "" : "s", r.chn, time_text(sum.first_start).c_str(), time_text(sum.last_end).c_str(),
            sum.bytes);
    if (r.key_frames) fprintf(o, " in %d key frames", sum.key_frames);
    fprintf(o, " to %s\n", r.output == "-" ? "standard output" : r.output.c_str());
}

} // namespace

ExportSummary export_events(const ExportRequest &r) {
    EventSearch search({{r.chn}, r.from, r.to, ~0ull});
    std::vector<Planned> planned = plan(search, r);
    FILE *file = open_output(r.output);
    ExportSummary sum;
    try {
        write_stream(planned, r, file, sum);
    } catch (...) {
        if (file != out()) {
            fclose(file);
            std::error_code ec;
            std::filesystem::remove(r.output, ec);
        }
        throw;
    }
    if (file == out() ? fflush(file) != 0 : fclose(file) != 0) throw ToolError("cannot write " + r.output);
    return sum;
}

int run_export(const std::vector<std::string> &words) {
    Args args(words, {{"--channel", true}, {"--at", true}, {"--from", true}, {"--to", true}, {"-o", true},
                      {"--keyframes"}, {"--write"}, {"--verbose"}});
    if (args.help()) return show_usage(kUsage);
    ExportRequest request = request_from(args);
    MountedDisks disks(args.positional(), {args.has("--write"), args.has("--verbose")});
    print_summary(request, export_events(request));
    return 0;
}

} // namespace cli
