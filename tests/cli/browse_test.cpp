// rfs calendar, timeline, pics and labels against a recorder-made disk (raw
// and NAS): the month's marked days, the day's half hours, the picture list
// and its extraction byte for byte, the label search; what cannot be read or
// written is said.
#include <filesystem>
#include <fstream>
#include <map>
#include <set>

#include "cli_fixture.h"
#include "json_reader.h"

namespace {

namespace fs = std::filesystem;
using rfs_json::Value;
using Days = std::vector<int>;

std::vector<int> ints(const Value &v) {
    std::vector<int> out;
    for (const Value &i : v.items()) out.push_back(i.get<int>());
    return out;
}

class CliBrowseTest : public ::testing::TestWithParam<bool> {
  protected:
    void SetUp() override {
        rec::DiskShape shape;
        shape.files_per_partition = 8;
        shape.nas = GetParam();
        shape.headers_only = true;
        disk_ = dir_.file(shape.nas ? "nas" : "disk.img");
        rec_ = std::make_unique<rec::Recorder>(shape, disk_);
        rec::RecordOptions o{.fps = 1, .key_interval = 10};
        using rec::t;
        rec_->record(0, t("2026-03-01 08:00:00"), t("2026-03-01 08:01:00"), rec::kTimed, o);
        rec_->record(0, t("2026-03-05 10:00:00"), t("2026-03-05 10:01:00"), rec::kMotion, o);
        rec_->record(5, t("2026-03-31 23:50:00"), t("2026-03-31 23:55:00"), rec::kAlarm, o);
        rec_->record(2, t("2026-02-28 10:00:00"), t("2026-02-28 10:00:30"), rec::kTimed, o);
        // Its file starts in February: the day it ends on is not March's.
        rec_->record(4, t("2026-02-28 23:50:00"), t("2026-03-01 00:20:00"), rec::kMotion, o);
        rec_->snapshot(1, t("2026-03-01 09:00:10"), 5000);
        rec_->snapshot(1, t("2026-03-05 12:00:00"), 7000); // two in one second
        rec_->snapshot(1, t("2026-03-05 12:00:00"), 300);
        rec_->snapshot(1, t("2026-03-05 13:00:00"), 4096, {.status = 2});
        rec_->snapshot(200, t("2026-03-31 07:00:00"), 100); // the 31st has no entry in a picture month map
        rec_->label(0, t("2026-03-01 10:00:45"), "door opened", {.extra_word1 = 9});
        rec_->label(1, t("2026-03-05 11:00:00"), "back door");
        rec_->label(1, t("2026-03-07 11:00:00"), "window", {.state = 2});
        rec_->label(3, t("2026-03-10 11:00:00"), "door", {.state = 0}); // listed, but no calendar day
        rec_->finish();
    }

    Value json(std::vector<std::string> args, int code = 0) {
        args.insert(args.begin() + 1, disk_);
        args.push_back("--json");
        RunResult r = run_rfs(args);
        EXPECT_EQ(r.code, code) << r.err;
        return Value::parse(r.out);
    }

    TempDir dir_;
    std::string disk_;
    std::unique_ptr<rec::Recorder> rec_;
};

} // namespace

TEST_P(CliBrowseTest, CalendarMarksTheDaysOfEachKindAndChannel) {
    struct Case {
        std::vector<std::string> args;
        Days records;
        std::map<int, Days> channels;
        Days pictures, labels;
    } cases[] = {
        {{"calendar", "--month", "2026-03", "--pictures", "--labels"}, {1, 5, 31}, {{0, {1, 5}}, {5, {31}}},
         {1, 5, 31}, {1, 5}},
        {{"calendar", "--month", "2026-03", "--channel", "5,1", "--labels"}, {31}, {{5, {31}}}, {}, {5}},
        {{"calendar", "--month", "2026-03", "--type", "motion"}, {5}, {{0, {5}}}, {}, {}},
        {{"calendar", "--month", "2026-02", "--pictures"}, {28}, {{2, {28}}, {4, {28}}}, {}, {}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.args));
        Value doc = json(c.args);
        Days records;
        for (const Value &d : doc.at("records").items()) records.push_back(d.at("day").get<int>());
        EXPECT_EQ(records, c.records);
        std::map<int, Days> channels;
        for (const Value &ch : doc.at("channels").items()) channels[ch.at("channel").get<int>()] = ints(ch.at("days"));
        EXPECT_EQ(channels, c.channels);
        EXPECT_EQ(doc.contains("pictures") ? ints(doc.at("pictures")) : Days{}, c.pictures);
        EXPECT_EQ(doc.contains("labels") ? ints(doc.at("labels")) : Days{}, c.labels);
    }
    // Without a terminal the marks are plain: a star after the day.
    RunResult r = run_rfs({"calendar", disk_, "--month", "2026-03"});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.out.find("  Mo  Tu  We  Th  Fr  Sa  Su\n                          1*\n  2   3   4   5*"),
              std::string::npos) << r.out;
    EXPECT_NE(r.out.find("\n 30  31*\n"), std::string::npos) << r.out;
    EXPECT_EQ(r.out.find('\033'), std::string::npos);
    // On a terminal the marked days are highlighted as well.
    RunResult tty = run_rfs({"calendar", disk_, "--month", "2026-03"}, {.terminal = true});
    if (tty.code == 127) GTEST_SKIP() << "no script(1) to give the tool a terminal";
    EXPECT_NE(tty.out.find("  2   3   4  \033[7m 5\033[0m*  6"), std::string::npos) << tty.out;
}

// 00:00-00:20 is the tail of a recording that began the day before; 08:00
// to 08:01 lies in slot 16.
TEST_P(CliBrowseTest, TimelineShowsTheHalfHoursOfEachType) {
    Value doc = json({"timeline", "--day", "2026-03-01"});
    std::vector<int> slots = ints(doc.at("slots")), want(48, 0);
    want[0] = int(rec::kMotion);
    want[16] = int(rec::kTimed);
    EXPECT_EQ(slots, want);
    ASSERT_EQ(doc.at("rows").size(), 2u);
    EXPECT_EQ(doc.at("rows")[0].at("type").str(), "timed");
    RunResult r = run_rfs({"timeline", disk_, "--day", "2026-03-01"});
    EXPECT_NE(r.out.find("  timed     " + std::string(16, '.') + "#" + std::string(31, '.') + "\n" +
                         "  motion    #" + std::string(47, '.') + "\n"),
              std::string::npos) << r.out;
    r = run_rfs({"timeline", disk_, "--day", "2026-03-01", "--channel", "0"});
    EXPECT_EQ(r.out.find("motion"), std::string::npos) << r.out;
}

// Every picture extracted holds exactly what the recorder stored; a second
// extraction overwrites nothing and says so.
TEST_P(CliBrowseTest, PicturesAreListedAndExtractedByteForByte) {
    const std::string out = dir_.file("pictures");
    Value doc = json({"pics", "--extract", out, "--from", "2026-03-01"});
    const auto &truth = rec_->pictures();
    ASSERT_EQ(doc.at("pictures").size(), truth.size());
    std::set<std::string> names;
    for (const Value &p : doc.at("pictures").items()) {
        auto t = std::find_if(truth.begin(), truth.end(), [&](const rec::PictureTruth &t) {
            return rec::format_time(t.time) == p.at("time").str() && t.chn == p.at("channel").get<int>() &&
                   t.offset == p.at("offset").get<uint32_t>();
        });
        ASSERT_NE(t, truth.end());
        EXPECT_EQ(p.at("deleted").get<bool>(), t->opts.status == 2);
        const std::string name = p.at("extracted").str();
        names.insert(name);
        EXPECT_TRUE(read_file(out + "/" + name) == rec_->picture_bytes(*t)) << name;
    }
    EXPECT_TRUE(names.count("ch001_20260305-120000.bin") && names.count("ch001_20260305-120000-2.bin"));
    EXPECT_EQ(names.size(), truth.size());
    EXPECT_EQ(fs::file_size(out + "/ch001_20260305-120000.bin"), 7000u) << "the first of the second keeps the plain name";

    Value again = json({"pics", "--extract", out, "--channel", "1", "--strict"}, 1);
    EXPECT_EQ(again.at("problems").size(), 4u);
    EXPECT_EQ(again.at("problems")[0].at("kind").str(), "extract");
    EXPECT_TRUE(again.at("pictures")[0].at("extracted").is_null());
    EXPECT_EQ(fs::file_size(out + "/ch001_20260305-120000.bin"), 7000u);
}

TEST_P(CliBrowseTest, LabelsByKeywordAndChannel) {
    struct Case {
        std::vector<std::string> args;
        std::vector<std::string> texts;
    } cases[] = {
        {{"labels"}, {"door opened", "back door", "door"}},
        {{"labels", "--keyword", "door", "--channel", "1-3"}, {"back door", "door"}},
        {{"labels", "--keyword", "Door"}, {}},
        {{"labels", "--from", "2026-03-05", "--to", "2026-03-09"}, {"back door"}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.args));
        std::vector<std::string> texts;
        Value doc = json(c.args);
        for (const Value &l : doc.at("labels").items()) texts.push_back(l.at("text").str());
        EXPECT_EQ(texts, c.texts);
    }
    Value zero = json({"labels", "--channel", "0"});
    EXPECT_EQ(zero.at("labels")[0].at("extra_words")[0].get<int>(), 9);
}

TEST_P(CliBrowseTest, AnUnreadableLabelAreaIsSaid) {
    if (!GetParam()) GTEST_SKIP() << "a NAS disk's label area is a file of its own";
    fs::remove(disk_ + "/label0");
    Value doc = json({"labels", "--strict"}, 1);
    EXPECT_TRUE(doc.at("labels").items().empty());
    ASSERT_GE(doc.at("problems").size(), 1u);
    EXPECT_EQ(doc.at("problems")[0].at("kind").str(), "labels");
    EXPECT_NE(doc.at("problems")[0].at("text").str().find("its label area cannot be read"), std::string::npos);
    Value month = json({"calendar", "--month", "2026-03", "--labels", "--strict"}, 1);
    EXPECT_TRUE(month.at("labels").items().empty());
    EXPECT_EQ(month.at("problems")[0].at("text").str(), doc.at("problems")[0].at("text").str());
}

// A picture record whose length or offset a damaged disk made too large is
// listed but not read; a label's control bytes never reach the terminal.
TEST(CliBrowse, DamagedPictureRecordsAndLabelTextsAreSaidNotFollowed) {
    TempDir dir;
    rec::DiskShape shape;
    shape.files_per_partition = 2;
    const std::string disk = dir.file("disk.img"), out = dir.file("pictures");
    rec::Recorder r(shape, disk);
    const rec::PictureTruth good = r.snapshot(1, rec::t("2026-03-01 10:00:00"), 100);
    const rec::PictureTruth huge = r.snapshot(1, rec::t("2026-03-01 10:00:01"), 100);
    const rec::PictureTruth beyond = r.snapshot(1, rec::t("2026-03-01 10:00:02"), 100);
    r.label(2, rec::t("2026-03-01 10:00:00"), "\x1b[2Jgone\\");
    r.finish();
    auto poke = [&](const rec::PictureTruth &p, uint32_t field, uint32_t value) {
        std::fstream f(disk, std::ios::in | std::ios::out | std::ios::binary);
        f.seekp(std::streamoff(r.geometry().data_file_base(p.partition, p.file_no) + p.record_pos + field));
        for (int i = 0; i < 4; ++i) f.put(char(value >> (8 * i)));
    };
    poke(huge, 12, 0x7FFFFFFF);   // its length
    poke(beyond, 8, 0x0FFFFFF0);  // its offset: 16 of its 100 bytes lie inside its file

    RunResult pics = run_rfs({"pics", disk, "--extract", out, "--json", "--strict"});
    EXPECT_EQ(pics.code, 1) << pics.err;
    Value doc = Value::parse(pics.out);
    ASSERT_EQ(doc.at("pictures").size(), 3u);
    EXPECT_EQ(doc.at("pictures")[0].at("extracted").str(), "ch001_20260301-100000.bin");
    EXPECT_TRUE(read_file(out + "/ch001_20260301-100000.bin") == r.picture_bytes(good));
    EXPECT_TRUE(doc.at("pictures")[1].at("extracted").is_null() && doc.at("pictures")[2].at("extracted").is_null());
    ASSERT_EQ(doc.at("problems").size(), 2u);
    EXPECT_NE(doc.at("problems")[0].at("text").str().find("more than the 64 MiB"), std::string::npos);
    EXPECT_NE(doc.at("problems")[1].at("text").str().find("cannot be read"), std::string::npos);

    RunResult labels = run_rfs({"labels", disk});
    EXPECT_NE(labels.out.find("  \\x1b[2Jgone\\\\\n"), std::string::npos) << labels.out;
    EXPECT_EQ(labels.out.find('\033'), std::string::npos);
    Value json = Value::parse(run_rfs({"labels", disk, "--json"}).out);
    EXPECT_EQ(json.at("labels")[0].at("text").str(), "\x1b[2Jgone\\");
}

// A picture file cut short: its month table and its picture table are gone.
// The calendar says so and still shows the days it could read.
TEST_P(CliBrowseTest, APictureFileThatCannotBeReadIsSaid) {
    if (!GetParam()) GTEST_SKIP() << "a NAS disk's data file is a file of its own";
    fs::resize_file(disk_ + "/file" + std::to_string(rec_->pictures()[0].file_no - 1), 8192);
    Value doc = json({"calendar", "--month", "2026-03", "--pictures", "--strict"}, 1);
    EXPECT_EQ(ints(doc.at("pictures")), Days{});
    std::vector<std::string> texts;
    for (const Value &p : doc.at("problems").items()) texts.push_back(p.at("kind").str() + ": " + p.at("text").str());
    ASSERT_EQ(texts.size(), 2u) << testing::PrintToString(texts);
    EXPECT_NE(texts[0].find("pictures: a picture file's month table was skipped"), std::string::npos) << texts[0];
    EXPECT_NE(texts[1].find("pictures: whether the 31st has pictures cannot be told"), std::string::npos) << texts[1];
}

INSTANTIATE_TEST_SUITE_P(RawAndNas, CliBrowseTest, ::testing::Bool(),
                         [](const auto &info) { return info.param ? "Nas" : "Raw"; });
