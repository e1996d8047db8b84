// The output-sink extension: what the library prints and reports through
// perror reaches the host's sink instead of the console, and only then.
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include "posix_storage.h"
#include "rfs.h"

namespace {

std::vector<std::pair<int, std::string>> g_seen;

void collect(int kind, const char *text, void *user) {
    EXPECT_EQ(user, &g_seen);
    g_seen.emplace_back(kind, text);
}

} // namespace

TEST(OutputSink, PrintsAndPerrorLinesReachTheSink) {
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
