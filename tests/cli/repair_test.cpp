// rfs repair on power-cut disks: the report comes from the overlay and leaves
// the disk as it was; --write leaves exactly the disk the recorder's model of
// the repair describes. ls and info say that they show the repaired view.
#include <filesystem>

#include "cli_fixture.h"
#include "json_reader.h"
#include "recorder/disk_view.h"

namespace {

namespace fs = std::filesystem;
using rfs_json::Value;

const rec::RecordOptions kSmall{.fps = 10, .key_interval = 20, .key_bytes = 3000, .p_bytes = 300};

// One event cut in each state the recorder leaves, and an open picture file.
void live_until_the_cut(rec::Recorder &r) {
    using rec::t;
    const rec::PackedTime s = t("2026-03-01 10:01:00"), cut = t("2026-03-01 10:01:05");
    for (int chn = 0; chn < 4; ++chn) r.record(chn, t("2026-03-01 10:00:00"), t("2026-03-01 10:00:20"), rec::kMotion, kSmall);
    r.record_interrupted(0, s, cut, rec::kMotion, kSmall, rec::Cut::KeyFramesWritten);
    r.record_interrupted(1, s, cut, rec::kMotion, kSmall, rec::Cut::NoKeyFrameYet);
    r.record_interrupted(2, s, cut, rec::kAlarm, kSmall, rec::Cut::EventClosed);
    r.record_interrupted(3, s, cut, rec::kMotion, kSmall, rec::Cut::WrongEventNo);
    r.snapshot(0, cut, 4000);
}

// The disk compared with the model: the image, or every file of the folder.
bool same_disk(const std::string &disk, const std::string &model) {
    if (!fs::is_directory(model)) return rectest::File(disk).same_as(rectest::File(model));
    for (const auto &e : fs::directory_iterator(model))
        if (!rectest::File(disk + "/" + e.path().filename().string()).same_as(rectest::File(e.path()))) return false;
    return true;
}

struct Step {
    std::string action;
    int chn;
    std::string start, end;
    bool operator==(const Step &) const = default;
};

std::vector<Step> event_steps(const Value &partition) {
    std::vector<Step> steps;
    for (const Value &e : partition.at("events").items())
        steps.push_back({e.at("action").str(), e.at("channel").get<int>(), e.at("start").str(),
                         e.at("end").is_null() ? "" : e.at("end").str()});
    return steps;
}

class CliRepairTest : public ::testing::TestWithParam<bool> {
  protected:
    void SetUp() override {
        rec::DiskShape shape;
        shape.files_per_partition = 8;
        shape.nas = GetParam();
        disk_ = dir_.file(shape.nas ? "nas" : "cut.img");
        model_ = dir_.file(shape.nas ? "model" : "model.img");
        rec::Recorder cut(shape, disk_);
        live_until_the_cut(cut);
        cut.power_loss();
        first_data_file_ = cut.geometry().data_file_base(0, 1);
        rec::Recorder model(shape, model_);
        live_until_the_cut(model);
        model.power_loss_repaired();
        // The events the cut left being written, as the repair must leave them.
        for (size_t i = 0; i < cut.events().size(); ++i) {
            if (cut.events()[i].state != rec::EventState::Writing) continue;
            const rec::EventTruth &m = model.events()[i];
            bool removed = m.state == rec::EventState::Removed;
            expected_.push_back({removed ? "removed" : "closed", m.chn, rec::format_time(m.start),
                                 removed ? "" : rec::format_time(m.end)});
        }
    }

    TempDir dir_;
    std::string disk_, model_;
    std::vector<Step> expected_;
    uint64_t first_data_file_ = 0; // raw: where the data files begin
};

} // namespace

TEST_P(CliRepairTest, ShowsTheRepairInMemoryAndWritesItOnlyWithWrite) {
    const std::string before = disk_digest(disk_);
    RunResult shown = run_rfs({"repair", disk_, "--json"});
    ASSERT_EQ(shown.code, 0) << shown.err;
    EXPECT_EQ(disk_digest(disk_), before);
    ASSERT_FALSE(same_disk(disk_, model_));
    Value doc = Value::parse(shown.out);
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

    RunResult written = run_rfs({"repair", disk_, "--write", "--json"});
    ASSERT_EQ(written.code, 0) << written.err;
    doc = Value::parse(written.out);
    ASSERT_EQ(doc.at("written").size(), 1u);
    EXPECT_TRUE(doc.at("written")[0].at("same_as_shown").boolean());
    EXPECT_EQ(doc.at("written")[0].at("bytes_written").get<uint64_t>(), bytes);
    EXPECT_TRUE(same_disk(disk_, model_));

    // Nothing is left to repair, and the text says so.
    RunResult again = run_rfs({"repair", disk_});
    ASSERT_EQ(again.code, 0) << again.err;
    EXPECT_NE(again.out.find("nothing to repair"), std::string::npos) << again.out;
}

TEST_P(CliRepairTest, LsAndInfoSayTheyShowTheRepairedView) {
    RunResult ls = run_rfs({"ls", disk_, "--json"});
    ASSERT_EQ(ls.code, 0) << ls.err;
    Value doc = Value::parse(ls.out);
    std::vector<Step> closed;
    for (const Value &e : doc.at("events").items())
        if (e.at("repaired").boolean())
            closed.push_back({"closed", e.at("channel").get<int>(), e.at("start").str(), e.at("end").str()});
    std::vector<Step> want;
    for (const Step &s : expected_)
        if (s.action == "closed") want.push_back(s);
    EXPECT_EQ(closed, want);
    EXPECT_EQ(event_steps(doc.at("repairs")[0].at("partitions")[0]), expected_);
    ASSERT_EQ(doc.at("problems").size(), 1u);
    EXPECT_EQ(doc.at("problems")[0].at("kind").str(), "repair");
    EXPECT_NE(ls.err.find("1 removed for want of one (channel 1 from 2026-03-01 10:01:00)"), std::string::npos) << ls.err;

    RunResult info = run_rfs({"info", disk_, "--strict"});
    EXPECT_EQ(info.code, 1) << info.err;
    EXPECT_NE(info.out.find("  ok     repaired"), std::string::npos) << info.out;
    EXPECT_NE(info.err.find("the mount repaired it in memory"), std::string::npos) << info.err;
}

TEST_P(CliRepairTest, AFailingRepairIsShownAndNotWritten) {
    // The data files of the open events cannot be read.
    if (GetParam())
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
    EXPECT_NE(r.err.find("is not written: its repair fails in memory"), std::string::npos) << r.err;
}

INSTANTIATE_TEST_SUITE_P(RawAndNas, CliRepairTest, ::testing::Bool(),
                         [](const auto &info) { return info.param ? "Nas" : "Raw"; });
