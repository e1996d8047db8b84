// rfs calendar, timeline, pics and labels against a recorder-made disk (raw
// and NAS): the month's marked days, the day's half hours, the picture list
// and its extraction byte for byte, the label search; what cannot be read or
// written is said.
#include <filesystem>
#include <fstream>
#include <map>
#include <set>

#include "cli_fixture.h"

namespace {

namespace fs = std::filesystem;
using rfs_json::Value;
using Days = std::vector<int>;

// The `field` of each item of the document's `list`.
std::vector<std::string> texts(const Value &doc, const char *list, const char *field) {
    std::vector<std::string> out;
    for (const Value &v : doc.at(list).items()) out.push_back(v.at(field).str());
    return out;
}

class CliBrowseTest : public RecorderDiskTest {
  protected:
    void SetUp() override {
        rec::Recorder &r = make_disk(8, true);
        rec::RecordOptions o{.fps = 1, .key_interval = 10};
        using rec::t;
        r.record(0, t("2026-03-01 08:00:00"), t("2026-03-01 08:01:00"), rec::kTimed, o);
        r.record(0, t("2026-03-05 10:00:00"), t("2026-03-05 10:01:00"), rec::kMotion, o);
        r.record(5, t("2026-03-31 23:50:00"), t("2026-03-31 23:55:00"), rec::kAlarm, o);
        r.record(4, t("2026-02-28 23:50:00"), t("2026-03-01 00:20:00"), rec::kMotion, o);
        r.snapshot(1, t("2026-03-01 09:00:10"), 5000);
        r.snapshot(1, t("2026-03-05 12:00:00"), 7000); // two in one second
        r.snapshot(1, t("2026-03-05 12:00:00"), 300);
        r.snapshot(1, t("2026-03-05 13:00:00"), 4096, {.status = 2});
        r.snapshot(200, t("2026-03-31 07:00:00"), 100); // the 31st has no entry in a picture month map
        r.label(0, t("2026-03-01 10:00:45"), "door opened", {.extra_word1 = 9});
        r.label(1, t("2026-03-05 11:00:00"), "back door");
        r.label(1, t("2026-03-07 11:00:00"), "window", {.state = 2});
        r.label(3, t("2026-03-10 11:00:00"), "door", {.state = 0}); // listed, but no calendar day
        r.finish();
    }
};

} // namespace

TEST_P(CliBrowseTest, CalendarMarksTheDaysOfEachKindAndChannel) {
    auto record_days = [](const Value &doc) {
        Days days;
        for (const Value &d : doc.at("records").items()) days.push_back(d.at("day").get<int>());
        return days;
    };
    Value doc = json({"calendar", "--month", "2026-03", "--pictures", "--labels"});
    EXPECT_EQ(record_days(doc), Days({1, 5, 31}));
    std::map<int, Days> channels;
    for (const Value &ch : doc.at("channels").items()) channels[ch.at("channel").get<int>()] = ints(ch.at("days"));
    EXPECT_EQ(channels, (std::map<int, Days>{{0, {1, 5}}, {5, {31}}}));
    EXPECT_EQ(ints(doc.at("pictures")), Days({1, 5, 31}));
    EXPECT_EQ(ints(doc.at("labels")), Days({1, 5}));
    Value some = json({"calendar", "--month", "2026-03", "--channel", "5,1", "--labels"});
    EXPECT_TRUE(record_days(some) == Days{31} && ints(some.at("labels")) == Days{5} && !some.contains("pictures"));
    EXPECT_EQ(record_days(json({"calendar", "--month", "2026-03", "--type", "motion"})), Days{5});
    // Without a terminal the marks are plain: a star after the day.
    RunResult r = run_rfs({"calendar", disk_, "--month", "2026-03"});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_TRUE(has(r.out, "  Mo  Tu  We  Th  Fr  Sa  Su\n                          1*\n  2   3   4   5*")) << r.out;
    EXPECT_TRUE(has(r.out, "\n 30  31*\n")) << r.out;
    EXPECT_FALSE(has(r.out, "\033"));
    // On a terminal the marked days are highlighted as well.
    RunResult tty = run_rfs({"calendar", disk_, "--month", "2026-03"}, {.terminal = true});
    if (tty.code == 127) GTEST_SKIP() << "no script(1) to give the tool a terminal";
    EXPECT_TRUE(has(tty.out, "  2   3   4  \033[7m 5\033[0m*  6")) << tty.out;
}

// 00:00-00:20 is the tail of a recording that began the day before; 08:00
// to 08:01 lies in slot 16.
TEST_P(CliBrowseTest, TimelineShowsTheHalfHoursOfEachType) {
    Value doc = json({"timeline", "--day", "2026-03-01"});
    std::vector<int> want(48, 0);
    want[0] = int(rec::kMotion);
    want[16] = int(rec::kTimed);
    EXPECT_EQ(ints(doc.at("slots")), want);
    EXPECT_EQ(texts(doc, "rows", "type"), std::vector<std::string>({"timed", "motion"}));
    RunResult r = run_rfs({"timeline", disk_, "--day", "2026-03-01"});
    EXPECT_TRUE(has(r.out, "  timed     " + std::string(16, '.') + "#" + std::string(31, '.') + "\n  motion    #" +
                               std::string(47, '.') + "\n")) << r.out;
    EXPECT_FALSE(has(run_rfs({"timeline", disk_, "--day", "2026-03-01", "--channel", "0"}).out, "motion"));
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
        names.insert(p.at("extracted").str());
        EXPECT_TRUE(read_file(out + "/" + p.at("extracted").str()) == rec_->picture_bytes(*t)) << p.at("extracted").str();
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

TEST_P(CliBrowseTest, LabelsByKeywordChannelAndTime) {
    using Texts = std::vector<std::string>;
    Value all = json({"labels"});
    EXPECT_EQ(texts(all, "labels", "text"), Texts({"door opened", "back door", "door"}));
    EXPECT_EQ(all.at("labels")[0].at("extra_words")[0].get<int>(), 9);
    EXPECT_EQ(texts(json({"labels", "--keyword", "door", "--channel", "1-3"}), "labels", "text"), Texts({"back door", "door"}));
    EXPECT_EQ(texts(json({"labels", "--from", "2026-03-05", "--to", "2026-03-09"}), "labels", "text"), Texts{"back door"});
}

// A NAS disk's label area and data files are files of their own: a label
// area that cannot be read, and a picture file cut short (its month table
// and its picture table gone), are said; the calendar shows what it could read.
TEST_P(CliBrowseTest, UnreadableLabelAreasAndPictureFilesAreSaid) {
    if (!nas()) GTEST_SKIP() << "a raw image is one file";
    fs::remove(disk_ + "/label0");
    Value labels = json({"labels", "--strict"}, 1);
    EXPECT_TRUE(labels.at("labels").items().empty());
    ASSERT_GE(labels.at("problems").size(), 1u);
    EXPECT_EQ(labels.at("problems")[0].at("kind").str(), "labels");
    EXPECT_TRUE(has(labels.at("problems")[0].at("text").str(), "its label area cannot be read"));
    Value month = json({"calendar", "--month", "2026-03", "--labels", "--strict"}, 1);
    EXPECT_TRUE(month.at("labels").items().empty());
    EXPECT_EQ(month.at("problems")[0].at("text").str(), labels.at("problems")[0].at("text").str());

    fs::resize_file(disk_ + "/file" + std::to_string(rec_->pictures()[0].file_no - 1), 8192);
    Value pictures = json({"calendar", "--month", "2026-03", "--pictures", "--strict"}, 1);
    EXPECT_EQ(ints(pictures.at("pictures")), Days{});
    std::vector<std::string> said = texts(pictures, "problems", "text");
    ASSERT_EQ(said.size(), 2u) << testing::PrintToString(said);
    EXPECT_TRUE(has(said[0], "a picture file's month table was skipped")) << said[0];
    EXPECT_TRUE(has(said[1], "whether the 31st has pictures cannot be told")) << said[1];
}

// A picture record whose length or offset a damaged disk made too large is
// listed but not read; a label's control bytes never reach the terminal.
TEST(CliBrowse, DamagedPictureRecordsAndLabelTextsAreSaidNotFollowed) {
    TempDir dir;
    const std::string disk = dir.file("disk.img"), out = dir.file("pictures");
    rec::Recorder r(disk_shape(2), disk);
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
    std::vector<std::string> said = texts(doc, "problems", "text");
    ASSERT_EQ(said.size(), 2u);
    EXPECT_TRUE(has(said[0], "more than the 64 MiB") && has(said[1], "cannot be read")) << testing::PrintToString(said);

    EXPECT_TRUE(has(run_rfs({"labels", disk}).out, "  \\x1b[2Jgone\\\\\n"));
    EXPECT_FALSE(has(run_rfs({"labels", disk}).out, "\033"));
    EXPECT_EQ(texts(Value::parse(run_rfs({"labels", disk, "--json"}).out), "labels", "text")[0], "\x1b[2Jgone\\");
}

INSTANTIATE_TEST_SUITE_P(RawAndNas, CliBrowseTest, ::testing::Bool(), raw_or_nas);
