// rfs export against a recorder-made disk: the file holds exactly the bytes
// the recorder stored, from the key frame the seek picks.
#include <algorithm>

#include "cli_fixture.h"

TEST_P(CliDiskTest, ExportWritesTheStoredStream) {
    const rec::EventTruth &morning = event(0, "2026-03-01 08:00:00"), &late = event(0, "2026-03-01 10:00:00");
    std::vector<uint8_t> two_events = playback(morning, "2026-03-01 08:01:03"), late_all = playback(late, "2026-03-01 10:00:00");
    two_events.insert(two_events.end(), late_all.begin(), late_all.end());
    const rec::KeyFrame &first = *std::find_if(morning.kframes.begin(), morning.kframes.end(),
                                               [](const rec::KeyFrame &f) { return f.time >= rec::t("2026-03-01 08:00:03"); });
    struct Case { const char *name; std::vector<std::string> args; std::vector<uint8_t> expected; } cases[] = {
        {"between key frames", {"--at", "2026-03-01T08:01:03"}, playback(morning, "2026-03-01 08:01:03")},
        {"a range over two events", {"--from", "2026-03-01 08:01:03", "--to", "2026-03-01 10:00:30"}, two_events},
        {"key frames", {"--at", "2026-03-01 08:01:03", "--keyframes"}, key_frames(morning, "2026-03-01 08:01:03")},
        {"first key frame", {"--from", "2026-03-01 08:00:03", "--to", "2026-03-01 12:00:00", "--first-keyframe"},
         stored(morning, first.offset, first.length)},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        std::string clip = dir_.file(std::string(c.name) + ".bin");
        std::vector<std::string> args = {"export", disk_, "--channel", "0", "-o", clip};
        args.insert(args.end(), c.args.begin(), c.args.end());
        RunResult r = run_rfs(args);
        ASSERT_EQ(r.code, 0) << r.err;
        EXPECT_TRUE(read_file(clip) == c.expected) << read_file(clip).size() << " bytes, not " << c.expected.size();
        EXPECT_TRUE(has(r.out, std::to_string(c.expected.size()) + " bytes")) << r.out;
    }
    // The lookup's key frame may lie past --to: said, and not whole with --strict.
    RunResult past = run_rfs({"export", disk_, "--channel", "0", "--from", "2026-03-01 08:00:01", "--to",
                              "2026-03-01 08:00:01", "--first-keyframe", "--strict", "-o", "-"});
    EXPECT_EQ(past.code, 1);
    EXPECT_TRUE(has(past.err, "stored at 2026-03-01 08:00:02, after --to")) << past.err;
    // The summary names the first frame written beside the time asked for.
    RunResult r = run_rfs({"export", disk_, "--channel", "0", "--at", "2026-03-01 08:01:03", "-o", "-"});
    EXPECT_TRUE(has(r.err, "asked at 2026-03-01 08:01:03; first frame written 2026-03-01 08:01:02")) << r.err;
}
