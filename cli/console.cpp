#include "console.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <string>
#include <unistd.h>

#include "errors.h"

namespace cli {

FILE *out() { return stdout; }

namespace {

[[noreturn]] void stdout_failed() {
    throw ToolError(std::string("cannot write standard output: ") + strerror(errno));
}

} // namespace

void write_out(std::string_view text) {
    if (fwrite(text.data(), 1, text.size(), out()) != text.size()) stdout_failed();
}

void print_out(const char *fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    int n = vfprintf(out(), fmt, ap);
    va_end(ap);
    if (n < 0) stdout_failed();
}

bool finish_output(const char *command) {
    errno = 0;
    if (fflush(out()) == 0 && !ferror(out())) return true;
    fprintf(stderr, "rfs %s: cannot write standard output: %s\n", command,
            errno ? strerror(errno) : "an earlier write failed");
    return false;
}

int show_usage(const char *text) {
    write_out(text);
    return 0;
}

Progress::Progress(const char *label, uint64_t total)
    : label_(label), total_(std::max<uint64_t>(total, 1)), shown_(isatty(STDERR_FILENO)) {}

Progress::~Progress() {
    if (shown_ && drawn_percent_ >= 0) fputs("\n", stderr);
}

void Progress::update(uint64_t done) {
    if (!shown_) return;
    int percent = int(std::min<uint64_t>(done * 100 / total_, 100));
    if (percent == drawn_percent_) return;
    drawn_percent_ = percent;
    constexpr int kWidth = 30;
    std::string bar(size_t(percent * kWidth / 100), '#');
    bar.resize(kWidth, ' ');
    fprintf(stderr, "\r%s [%s] %3d%%", label_, bar.c_str(), percent);
    fflush(stderr);
}

} // namespace cli
