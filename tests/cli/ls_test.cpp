// rfs ls and rfs info against a recorder-made disk: the JSON listing is
// exactly the recorder's events that the filters select, in start order.
#include "cli_fixture.h"

using rfs_json::Value;

TEST_P(CliDiskTest, LsListsWhatTheFiltersSelect) {
    // Indexes into the recorder's events, in start order; 5 is skip-flagged.
    struct Case { std::vector<std::string> args; std::vector<size_t> events; } cases[] = {
        {{}, {0, 2, 1, 3, 4}},
        {{"--channel", "0,2-3", "--type", "0x1", "--type", "manual"}, {0, 4}},
        {{"--from", "2026-03-01 09:01:30", "--to", "2026-03-01 10:00:00"}, {2, 1}},
        {{"--from", "2026-03-02"}, {3, 4}},
        {{"--to", "2026-03-01"}, {0, 2, 1, 3}},
        {{"--type", "motion,alarm"}, {2, 1, 3}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.args));
        std::vector<std::string> args = {"ls"};
        args.insert(args.end(), c.args.begin(), c.args.end());
        std::vector<std::string> got, want;
        const Value doc = json(args);
        for (const Value &e : doc.at("events").items())
            got.push_back(std::to_string(e.at("channel").get<int>()) + " " + e.at("start").str() + " " + e.at("end").str() +
                          " " + std::to_string(e.at("type_mask").get<uint64_t>()) + " " + std::to_string(e.at("size").get<uint32_t>()));
        for (size_t i : c.events) {
            const rec::EventTruth &e = rec_->events()[i];
            want.push_back(std::to_string(e.chn) + " " + rec::format_time(e.start) + " " + rec::format_time(e.end) + " " +
                           std::to_string(e.type_mask) + " " + std::to_string(e.data_size));
        }
        EXPECT_EQ(got, want);
    }
}

TEST_P(CliDiskTest, InfoShowsTheDiskAndItsRecordingRange) {
    Value doc = json({"info"});
    const Value &disk = doc.at("disks")[0];
    EXPECT_EQ(disk.at("kind").str(), nas() ? "nas" : "raw");
    EXPECT_EQ(disk.at("data_file_size").get<uint32_t>(), rec::kFile256M);
    ASSERT_EQ(disk.at("partitions").size(), 1u);
    EXPECT_EQ(disk.at("partitions")[0].at("files").get<int>(), 8);
    EXPECT_EQ(disk.at("partitions")[0].at("records").at("start").str(), "2026-03-01 08:00:00");
    EXPECT_EQ(doc.at("recordings").at("start").str(), "2026-03-01 08:00:00");
    EXPECT_EQ(doc.at("recordings").at("end").str(), "2026-03-02 00:00:40"); // not the skip-flagged one's end
    EXPECT_EQ(ints(doc.at("recordings").at("channels")), std::vector<int>({0, 1, 2, 3}));
    EXPECT_EQ(doc.at("repaired_bytes").get<int>(), 0);
    EXPECT_TRUE(disk.at("repair").at("partitions").items().empty());
}

INSTANTIATE_TEST_SUITE_P(RawAndNas, CliDiskTest, ::testing::Bool(), raw_or_nas);
