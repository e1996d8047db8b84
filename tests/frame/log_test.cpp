#include <gtest/gtest.h>

#include <cctype>
#include <cerrno>
#include <string>
#include <vector>

#include "frame/log.h"
#include "posix_storage.h"
#include "rfs.h"
#include "support/log_capture.h"

using namespace rfs;

namespace {
// "[YYYY-MM-DD hh:mm:ss] " at the start of the line. (No std::regex: g++ at
// -O2 with the sanitizers warns inside it, and the build treats that as an
// error.)
bool has_time_prefix(const std::string &line) {
    const std::string shape = "[dddd-dd-dd dd:dd:dd] ";
    if (line.size() < shape.size()) return false;
    for (size_t i = 0; i < shape.size(); ++i)
        if (shape[i] == 'd' ? !std::isdigit(static_cast<unsigned char>(line[i])) : line[i] != shape[i]) return false;
    return true;
}
} // namespace

TEST(Log, LineComposition) {
    struct Case {
        std::string message;
        int result;
        std::string expected_tail; // the end of the composed line
    } cases[] = {
        {"plain", 5, "plain\n"},
        {"ends\n", 5, "ends\n"},
        {"", 0, "] \n"},
        {std::string(1001, 'a'), 1001, "aaaa"},   // fills 1023 characters: no newline
        {std::string(1002, 'b'), -1, "bbbb"},     // truncated: no newline
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.message.size());
        LogCapture log;
        EXPECT_EQ(rfs_log("%s", c.message.c_str()), c.result);
        ASSERT_EQ(log.lines().size(), 1u);
        const std::string &line = log.lines()[0];
        EXPECT_TRUE(has_time_prefix(line)) << line;
        EXPECT_EQ(line.substr(line.size() - c.expected_tail.size()), c.expected_tail);
        EXPECT_LE(line.size(), 1023u);
    }
}

// Lines are composed only for a sink, and only while one is installed: every
// line reaches it then, nothing is written anywhere without it, and errno
// stays as the caller left it either way (callers log a failed storage call
// and then judge it by errno), even when the sink changes it.
TEST(Log, SinkGetsEveryLineWhileInstalledAndErrnoIsKept) {
    std::vector<std::string> got;
    auto clobbering_sink = [](const char *line, void *user) {
        static_cast<std::vector<std::string> *>(user)->emplace_back(line);
        errno = ENOENT;
    };
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    for (int round = 0; round < 3; ++round) {
        bool with_sink = round != 1;
        rfs_set_log_sink(with_sink ? +clobbering_sink : nullptr, &got);
        for (int i = 0; i < 3; ++i) {
            errno = EHOSTDOWN;
            rfs_log("read file %s failed ret=%d\n", "/rfs/d0/index1", round * 10 + i);
            EXPECT_EQ(errno, EHOSTDOWN);
        }
    }
    rfs_set_log_sink(nullptr, nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    ASSERT_EQ(got.size(), 6u);
    int n = 0;
    for (int expected : {0, 1, 2, 20, 21, 22}) {
        const std::string &line = got[size_t(n++)];
        EXPECT_EQ(line.substr(line.find("] ") + 2),
                  "read file /rfs/d0/index1 failed ret=" + std::to_string(expected) + "\n");
    }
}

TEST(Log, PrintFlagToggle) {
    testing::internal::CaptureStdout();
    toggle_print_flag(34);
    toggle_print_flag(34);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "rfs_print_flag = 0, print info\nrfs_print_flag = 5, don't print info\n");
    EXPECT_EQ(rfs_print_flag, 5);
}

TEST(Log, DumpSearchParam) {
    uint8_t bits[2] = {0x81, 0x01};
    uint64_t integrated[2] = {0x4100000003ull, 0x7ull};
    struct Case {
        int chn_cnt;
        std::string channels;
    } cases[] = {
        {9, "chnCnt:9, chnBit:0x. ffffff81,1,\n"},
        {1001, "chnCnt:1001, chnBit:0x. chn:count big to 1000, not show\n"},
        {0, "chnCnt:0, chnBit:0x. "},
    };
    for (const Case &c : cases) {
        RfsSearchParam p{};
        p.data_type = 0;
        p.search_type = 3;
        p.record_type = 0x5;
        p.start = {0, 1, 2, 3, 4, 5, 24};
        p.end = {0, 59, 59, 23, 4, 5, 24};
        p.chnCnt = c.chn_cnt;
        p.chnBit = bits;
        p.integratedRecType = integrated;
        p.integratedRecTypeCount = 2;
        testing::internal::CaptureStdout();
        dump_search_param(&p);
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  "data_type:0, search_type:3, record_type:0x5, "
                  "time:(24/5/4 3:2:1)-(24/5/4 23:59:59), " +
                      c.channels + "integratedRecType(2):[0]0x3A " +
                      std::string("[1]0x7\0 ", 8) + "\n");
    }
}

namespace {

std::vector<std::pair<int, std::string>> g_seen; // what the output sink got

void collect(int kind, const char *text, void *user) {
    EXPECT_EQ(user, &g_seen);
    g_seen.emplace_back(kind, text);
}

} // namespace

// What the library prints and reports through perror reaches the output sink
// instead of the console, and only then.
TEST(Log, PrintsAndPerrorLinesReachTheOutputSink) {
    rfs_host::install_posix();
    rfs_set_output_sink(collect, &g_seen);
    errno = 0;
    EXPECT_EQ(rfs_get_data_file_size(40), -1);
    EXPECT_EQ(rfs_format_is_valid("/no/such/rfs/disk"), -1);
    EXPECT_EQ(errno, ENOENT); // the sink leaves errno as the failure set it
    rfs_set_output_sink(nullptr, nullptr);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    rfs_get_data_file_size(41);
    rfs_format_is_valid("/no/such/rfs/disk");
    std::string printed = testing::internal::GetCapturedStdout(), perrored = testing::internal::GetCapturedStderr();

    const std::vector<std::pair<int, std::string>> expected = {
        {RFS_OUTPUT_PRINT, "id is oversize!"},
        {RFS_OUTPUT_PERROR, "open disk:: No such file or directory\n"},
    };
    EXPECT_EQ(g_seen, expected);
    EXPECT_EQ(printed, "id is oversize!"); // without a sink, where they always went
    EXPECT_EQ(perrored, "open disk:: No such file or directory\n");
}
