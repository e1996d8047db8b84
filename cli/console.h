// Where the tool writes. Listings, reports and JSON go to standard output
// through the checked writer below. What the library prints (its dumps and
// perror lines) never mixes in: it reaches the library's output sink, which
// shows it on stderr with --verbose only (disks.cpp).
#pragma once

#include <cstdint>
#include <cstdio>
#include <string_view>

namespace cli {

FILE *out();

// The checked standard-output writer. Every listing, report and JSON text
// goes through these two; a write that fails throws ToolError naming the
// system's reason ("cannot write standard output: No space left on device").
void write_out(std::string_view text);
void print_out(const char *fmt, ...) __attribute__((format(printf, 1, 2)));
// Flushes standard output at the end of a command: false (and the reason on
// stderr) when some of what the command wrote did not arrive.
bool finish_output(const char *command);

// Prints a command's help text to out(); returns the exit code 0.
int show_usage(const char *text);

// A one-line progress bar on stderr, drawn only when stderr is a terminal.
class Progress {
  public:
    Progress(const char *label, uint64_t total);
    ~Progress();
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;
    void update(uint64_t done);

  private:
    const char *label_;
    uint64_t total_;
    bool shown_;
    int drawn_percent_ = -1;
};

} // namespace cli
