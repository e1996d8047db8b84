// The ways a command fails. main() turns them into one line on stderr and an
// exit code: 2 for a command line the tool cannot understand (UsageError) or
// an output it refuses to write (RefusedOutput), 1 for a request that went
// wrong (ToolError: a disk that does not mount, a time with no event).
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

// An output that would overwrite evidence or something that is not a file.
struct RefusedOutput : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// "No such file or directory" for errno.
std::string system_reason(int err);

} // namespace cli

namespace cli {

// A library result code in words: "-13 (open failed, or the disk was dropped)".
std::string error_text(int code);

} // namespace cli
