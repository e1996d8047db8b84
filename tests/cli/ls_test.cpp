// rfs ls against a recorder-made disk: the JSON listing is exactly the
// recorder's events that the filters select, in start order.
#include <algorithm>
#include <functional>

#include "cli_fixture.h"
#include "json_reader.h"

namespace {

struct Listed {
    int chn;
    std::string start, end;
    uint64_t types;
    uint32_t size;
    bool operator==(const Listed &) const = default;
};

std::vector<Listed> parse_listing(const std::string &json_text) {
    std::vector<Listed> list;
    rfs_json::Value doc = rfs_json::Value::parse(json_text);
    for (const rfs_json::Value &e : doc.at("events").items())
        list.push_back({e.at("channel").get<int>(), e.at("start").str(), e.at("end").str(),
                        e.at("type_mask").get<uint64_t>(), e.at("size").get<uint32_t>()});
    return list;
}

} // namespace

TEST_P(CliDiskTest, LsListsWhatTheFiltersSelect) {
    using rec::t;
    using Pick = std::function<bool(const rec::EventTruth &)>;
    auto overlaps = [](const char *from, const char *to) {
        return [=](const rec::EventTruth &e) { return e.start <= t(to) && e.end >= t(from); };
    };
    struct Case {
        std::vector<std::string> args;
        Pick pick;
    } cases[] = {
        {{}, [](const rec::EventTruth &) { return true; }},
        {{"--channel", "0,2-3"}, [](const rec::EventTruth &e) { return e.chn != 1; }},
        {{"--from", "2026-03-01 09:01:30", "--to", "2026-03-01 10:00:00"},
         overlaps("2026-03-01 09:01:30", "2026-03-01 10:00:00")},
        {{"--from", "2026-03-02"}, overlaps("2026-03-02 00:00:00", "2063-12-31 23:59:59")},
        {{"--to", "2026-03-01"}, overlaps("2000-01-01 00:00:00", "2026-03-01 23:59:59")},
        {{"--type", "alarm"}, [](const rec::EventTruth &e) { return (e.type_mask & rec::kAlarm) != 0; }},
        {{"--type", "motion,manual"},
         [](const rec::EventTruth &e) { return (e.type_mask & (rec::kMotion | rec::kManual)) != 0; }},
        {{"--type", "0x1", "--type", "manual"},
         [](const rec::EventTruth &e) { return (e.type_mask & (rec::kTimed | rec::kManual)) != 0; }},
    };
    for (const Case &c : cases) {
        std::vector<std::string> args = {"ls", disk_, "--json"};
        args.insert(args.end(), c.args.begin(), c.args.end());
        SCOPED_TRACE(testing::PrintToString(c.args));
        std::vector<const rec::EventTruth *> picked;
        for (const rec::EventTruth &e : rec_->events())
            if (e.skip_flag != 1 && c.pick(e)) picked.push_back(&e);
        std::stable_sort(picked.begin(), picked.end(), [](auto *a, auto *b) {
            return a->start != b->start ? a->start < b->start : a->chn < b->chn;
        });
        std::vector<Listed> expected;
        for (const rec::EventTruth *e : picked)
            expected.push_back({e->chn, rec::format_time(e->start), rec::format_time(e->end), e->type_mask, e->data_size});

        RunResult r = run_rfs(args);
        ASSERT_EQ(r.code, 0) << r.err;
        EXPECT_EQ(parse_listing(r.out), expected);
    }
}

TEST_P(CliDiskTest, InfoShowsTheDisksAndTheirRecordingRange) {
    // A second disk: a later recording on channel 7, and one on channel 9 the
    // recorder flagged to leave out, which no channel list counts; raw, an
    // empty partition after them, which does not end the time range.
    rec::DiskShape shape;
    shape.files_per_partition = 4;
    shape.nas = nas();
    shape.partitions = nas() ? 1 : 2;
    std::string second = dir_.file(nas() ? "nas2" : "disk2.img");
    {
        rec::Recorder r(shape, second);
        rec::RecordOptions o{.fps = 5, .key_interval = 10}, skipped = o;
        skipped.skip_flag = 1;
        r.record(9, rec::t("2026-04-01 10:00:00"), rec::t("2026-04-01 10:00:10"), rec::kTimed, skipped);
        r.record(7, rec::t("2026-05-01 10:00:00"), rec::t("2026-05-01 10:00:10"), rec::kTimed, o);
        r.finish();
    }
    RunResult r = run_rfs({"info", disk_, second, "--json"});
    ASSERT_EQ(r.code, 0) << r.err;
    auto doc = rfs_json::Value::parse(r.out);
    const auto &disk = doc.at("disks")[0];
    EXPECT_EQ(disk.at("kind").str(), nas() ? "nas" : "raw");
    EXPECT_EQ(disk.at("data_file_size").get<uint32_t>(), rec::kFile256M);
    ASSERT_EQ(disk.at("partitions").size(), 1u);
    EXPECT_EQ(disk.at("partitions")[0].at("files").get<int>(), 8);
    EXPECT_EQ(disk.at("partitions")[0].at("records").at("start").str(), "2026-03-01 08:00:00");
    const auto &recordings = doc.at("recordings");
    EXPECT_EQ(recordings.at("start").str(), "2026-03-01 08:00:00");
    EXPECT_EQ(recordings.at("end").str(), "2026-05-01 10:00:10");
    std::vector<int> channels;
    for (const auto &c : recordings.at("channels").items()) channels.push_back(c.get<int>());
    EXPECT_EQ(channels, std::vector<int>({0, 1, 2, 3, 7}));
    EXPECT_EQ(doc.at("repaired_bytes").get<int>(), 0);
    EXPECT_TRUE(disk.at("repair").at("partitions").items().empty());
}

INSTANTIATE_TEST_SUITE_P(RawAndNas, CliDiskTest, ::testing::Bool(),
                         [](const auto &info) { return info.param ? "Nas" : "Raw"; });
