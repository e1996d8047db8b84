// rfs export against a recorder-made disk: the file holds exactly the bytes
// the recorder stored, from the key frame the seek picks.
#include <algorithm>
#include <filesystem>

#include "cli_fixture.h"

namespace {

std::vector<uint8_t> joined(std::vector<uint8_t> a, const std::vector<uint8_t> &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

} // namespace

TEST_P(CliDiskTest, ExportWritesTheStoredStream) {
    const rec::EventTruth &morning = event(0, "2026-03-01 08:00:00"), &late = event(0, "2026-03-01 10:00:00");
    const rec::EventTruth &refs = event(1, "2026-03-01 09:00:00");
    // The first key frame at or after `from`, after its reference frame.
    auto first_key_frame = [&](const rec::EventTruth &ev, const char *from) {
        const rec::KeyFrame &k = *std::find_if(ev.kframes.begin(), ev.kframes.end(),
                                               [&](const rec::KeyFrame &f) { return f.time >= rec::t(from); });
        bool ref = k.ref_length != 0 && k.ref_offset != k.offset;
        return joined(ref ? stored(ev, k.ref_offset, k.ref_length) : std::vector<uint8_t>{}, stored(ev, k.offset, k.length));
    };
    struct Case {
        const char *name;
        std::vector<std::string> args;
        std::vector<uint8_t> expected;
    } cases[] = {
        {"between key frames", {"--channel", "0", "--at", "2026-03-01T08:01:03"},
         playback(morning, "2026-03-01 08:01:03")},
        {"at the event's start", {"--channel", "0", "--at", "2026-03-01 08:00:00"},
         playback(morning, "2026-03-01 08:00:00")},
        {"at the event's end", {"--channel", "0", "--at", "2026-03-01 08:02:00"},
         playback(morning, "2026-03-01 08:02:00")},
        {"reference frame first", {"--channel", "1", "--at", "2026-03-01 09:00:31"},
         playback(refs, "2026-03-01 09:00:31")},
        {"a range over two events",
         {"--channel", "0", "--from", "2026-03-01 08:01:03", "--to", "2026-03-01 10:00:30"},
         joined(playback(morning, "2026-03-01 08:01:03"), playback(late, "2026-03-01 10:00:00"))},
        {"key frames", {"--channel", "0", "--at", "2026-03-01 08:01:03", "--keyframes"},
         key_frames(morning, "2026-03-01 08:01:03")},
        {"first key frame", {"--channel", "0", "--from", "2026-03-01 08:00:03", "--to", "2026-03-01 12:00:00",
                             "--first-keyframe"}, first_key_frame(morning, "2026-03-01 08:00:03")},
        {"first key frame and its reference", {"--channel", "1", "--from", "2026-03-01 09:00:31", "--to",
                                               "2026-03-01 09:00:59", "--first-keyframe"},
         first_key_frame(refs, "2026-03-01 09:00:31")},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        std::string clip = dir_.file(std::string(c.name) + ".bin");
        std::vector<std::string> args = {"export", disk_, "-o", clip};
        args.insert(args.end(), c.args.begin(), c.args.end());
        RunResult r = run_rfs(args);
        ASSERT_EQ(r.code, 0) << r.err;
        EXPECT_TRUE(read_file(clip) == c.expected) << "exported " << read_file(clip).size() << " bytes, expected "
                                                   << c.expected.size();
        EXPECT_NE(r.out.find(std::to_string(c.expected.size()) + " bytes"), std::string::npos) << r.out;
    }
    // The lookup's key frame may lie past --to: said, and not whole with --strict.
    RunResult past = run_rfs({"export", disk_, "--channel", "0", "--from", "2026-03-01 08:00:01", "--to",
                              "2026-03-01 08:00:01", "--first-keyframe", "--strict", "-o", "-"});
    EXPECT_EQ(past.code, 1);
    EXPECT_NE(past.err.find("stored at 2026-03-01 08:00:02, after --to"), std::string::npos) << past.err;
    // The summary names the first frame written beside the time asked for.
    RunResult r = run_rfs({"export", disk_, "--channel", "1", "--at", "2026-03-01 09:00:31", "-o", "-"});
    EXPECT_NE(r.err.find("asked at 2026-03-01 09:00:31; first frame written 2026-03-01 09:00:28"), std::string::npos)
        << r.err;
}

// The seek lands on a 'K' frame whose reference frame comes first: the
// "current" key-frame call after a seek must deliver it, then the key frame.
TEST_P(CliDiskTest, ExportKeyFramesFromAKeyFrameThatNeedsItsReference) {
    std::string clip = dir_.file("keys.bin");
    RunResult r = run_rfs({"export", disk_, "--channel", "1", "--at", "2026-03-01 09:00:31", "--keyframes", "-o", clip});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_TRUE(read_file(clip) == key_frames(event(1, "2026-03-01 09:00:00"), "2026-03-01 09:00:31"));
}

TEST_P(CliDiskTest, ExportOutsideAnyEventFailsWithoutAFile) {
    std::string clip = dir_.file("none.bin");
    const std::vector<std::string> at = {"--at", "2026-03-01 09:00:00"};
    const std::vector<std::string> first = {"--from", "2026-03-01 08:02:01", "--to", "2026-03-01 09:59:59",
                                            "--first-keyframe"};
    for (const auto &[args, said] : {std::pair{at, "no recording on channel 0 at 2026-03-01 09:00:00"},
                                     std::pair{first, "no key frame of channel 0 between 2026-03-01 08:02:01"}}) {
        std::vector<std::string> words = {"export", disk_, "--channel", "0", "-o", clip};
        words.insert(words.end(), args.begin(), args.end());
        RunResult r = run_rfs(words);
        EXPECT_EQ(r.code, 1);
        EXPECT_NE(r.err.find(said), std::string::npos) << r.err;
        EXPECT_FALSE(std::filesystem::exists(clip));
    }
}
