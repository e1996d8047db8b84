// rfs repair on power-cut disks: the report comes from the overlay and leaves
// the disk as it was; --write writes the repair shown, and only with --write
// does any command let a repair reach the disk. ls and info say that they
// show the repaired view.
#include <filesystem>

#include "cli_fixture.h"

namespace {

namespace fs = std::filesystem;
using rfs_json::Value;

// One event cut in each state the recorder leaves, and an open picture file.
void live_until_the_cut(rec::Recorder &r) {
    using rec::t;
    const rec::RecordOptions small{.fps = 10, .key_interval = 20, .key_bytes = 3000, .p_bytes = 300};
    const rec::PackedTime s = t("2026-03-01 10:01:00"), cut = t("2026-03-01 10:01:05");
    for (int chn = 0; chn < 4; ++chn) r.record(chn, t("2026-03-01 10:00:00"), t("2026-03-01 10:00:20"), rec::kMotion, small);
    r.record_interrupted(0, s, cut, rec::kMotion, small, rec::Cut::KeyFramesWritten);
    r.record_interrupted(1, s, cut, rec::kMotion, small, rec::Cut::NoKeyFrameYet);
    r.record_interrupted(2, s, cut, rec::kAlarm, small, rec::Cut::EventClosed);
    r.record_interrupted(3, s, cut, rec::kMotion, small, rec::Cut::WrongEventNo);
    r.snapshot(0, cut, 4000);
}

// "action channel start end" of each event step of a partition's repair.
std::vector<std::string> event_steps(const Value &partition) {
    std::vector<std::string> steps;
    for (const Value &e : partition.at("events").items())
        steps.push_back(e.at("action").str() + " " + std::to_string(e.at("channel").get<int>()) + " " + e.at("start").str() +
                        " " + (e.at("end").is_null() ? "" : e.at("end").str()));
    return steps;
}

class CliRepairTest : public RecorderDiskTest {
  protected:
    void SetUp() override {
        rec::Recorder &cut = make_disk(8);
        live_until_the_cut(cut);
        cut.power_loss();
        first_data_file_ = cut.geometry().data_file_base(0, 1);
        rec::Recorder model(disk_shape(8, nas()), dir_.file("model"));
        live_until_the_cut(model);
        model.power_loss_repaired();
        // The events the cut left being written, as the repair must leave them.
        for (size_t i = 0; i < cut.events().size(); ++i) {
            if (cut.events()[i].state != rec::EventState::Writing) continue;
            const rec::EventTruth &m = model.events()[i];
            bool removed = m.state == rec::EventState::Removed;
            expected_.push_back((removed ? "removed " : "closed ") + std::to_string(m.chn) + " " + rec::format_time(m.start) +
                                " " + (removed ? "" : rec::format_time(m.end)));
        }
    }

    std::vector<std::string> expected_;
    uint64_t first_data_file_ = 0; // raw: where the data files begin
};

} // namespace

TEST_P(CliRepairTest, ShowsTheRepairInMemoryAndWritesItOnlyWithWrite) {
    const std::string before = disk_digest(disk_);
    Value doc = json({"repair"});
    EXPECT_EQ(disk_digest(disk_), before);
    const Value &disk = doc.at("disks")[0];
    ASSERT_EQ(disk.at("partitions").size(), 1u);
    const Value &part = disk.at("partitions")[0];
    EXPECT_EQ(event_steps(part), expected_);
    EXPECT_FALSE(part.at("failed").boolean());
    std::vector<std::string> files;
    for (const Value &f : part.at("files").items()) files.push_back(f.at("kind").str());
    EXPECT_EQ(files, std::vector<std::string>({"record", "record", "record", "record", "picture"}));
    EXPECT_EQ(part.at("files_closed").get<int>(), 5);
    const uint64_t bytes = disk.at("bytes_written").get<uint64_t>();
    EXPECT_GT(bytes, 0u);
    EXPECT_TRUE(doc.at("written").items().empty());

    doc = json({"repair", "--write"});
    ASSERT_EQ(doc.at("written").size(), 1u);
    EXPECT_TRUE(doc.at("written")[0].at("same_as_shown").boolean());
    EXPECT_EQ(doc.at("written")[0].at("bytes_written").get<uint64_t>(), bytes);
    EXPECT_NE(disk_digest(disk_), before);
    RunResult again = run_rfs({"repair", disk_});
    ASSERT_EQ(again.code, 0) << again.err;
    EXPECT_TRUE(has(again.out, "nothing to repair")) << again.out;
}

TEST_P(CliRepairTest, LsAndInfoShowTheRepairedViewAndWriteItOnlyWithWrite) {
    const std::string before = disk_digest(disk_);
    RunResult ls = run_rfs({"ls", disk_, "--json"});
    ASSERT_EQ(ls.code, 0) << ls.err;
    Value doc = Value::parse(ls.out);
    std::vector<std::string> closed, want;
    for (const Value &e : doc.at("events").items())
        if (e.at("repaired").boolean())
            closed.push_back("closed " + std::to_string(e.at("channel").get<int>()) + " " + e.at("start").str() + " " +
                             e.at("end").str());
    for (const std::string &s : expected_)
        if (s.rfind("closed", 0) == 0) want.push_back(s);
    EXPECT_EQ(closed, want);
    EXPECT_EQ(event_steps(doc.at("repairs")[0].at("partitions")[0]), expected_);
    ASSERT_EQ(doc.at("problems").size(), 1u);
    EXPECT_EQ(doc.at("problems")[0].at("kind").str(), "repair");
    EXPECT_TRUE(has(ls.err, "1 removed for want of one (channel 1 from 2026-03-01 10:01:00)")) << ls.err;

    RunResult info = run_rfs({"info", disk_, "--strict"});
    EXPECT_EQ(info.code, 1) << info.err;
    EXPECT_TRUE(has(info.out, "  ok     repaired")) << info.out;
    EXPECT_TRUE(has(info.err, "the mount repaired it in memory")) << info.err;
    EXPECT_EQ(disk_digest(disk_), before) << "ls or info wrote to the disk";

    doc = json({"info", "--write"});
    EXPECT_TRUE(doc.at("repairs_written").boolean());
    EXPECT_GT(doc.at("repaired_bytes").get<uint64_t>(), 0u);
    EXPECT_NE(disk_digest(disk_), before);
}

TEST_P(CliRepairTest, AFailingRepairIsShownAndNotWritten) {
    // The data files of the open events cannot be read.
    if (nas())
        fs::remove(disk_ + "/file0");
    else
        fs::resize_file(disk_, first_data_file_);
    const std::string before = disk_digest(disk_);
    RunResult r = run_rfs({"repair", disk_, "--write", "--json"});
    EXPECT_EQ(r.code, 1) << r.err;
    EXPECT_EQ(disk_digest(disk_), before);
    Value doc = Value::parse(r.out);
    EXPECT_TRUE(doc.at("disks")[0].at("partitions")[0].at("failed").boolean());
    EXPECT_TRUE(doc.at("written").items().empty());
    EXPECT_TRUE(has(r.err, "is not written: its repair fails in memory")) << r.err;
}

INSTANTIATE_TEST_SUITE_P(RawAndNas, CliRepairTest, ::testing::Bool(), raw_or_nas);
