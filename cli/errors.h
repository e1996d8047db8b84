// The two ways a command fails. main() turns them into a message on stderr and
// an exit code: 2 for a command line the tool cannot understand, 1 for a
// request that went wrong (a disk that does not mount, a time with no event).
#pragma once

#include <stdexcept>
#include <string>

namespace cli {

constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct ToolError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

} // namespace cli

namespace cli {

// A library result code in words: "-13 (open failed, or the disk was dropped)".
std::string error_text(int code);

} // namespace cli
