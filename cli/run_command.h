// One command run from start to exit code: its problems started, its
// failures turned into one line on stderr and the exit code (errors.h), its
// standard output flushed and checked. Shared by rfs and rfs-mkdisk.
#pragma once

#include <string>
#include <vector>

namespace cli {

using CommandFn = int (*)(const std::vector<std::string> &words);

int run_command(const char *name, CommandFn run, const std::vector<std::string> &words);

} // namespace cli
