#include "frame/log.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace rfs {

volatile int rfs_print_flag = 5;

namespace {
rfs_log_sink_t g_log_sink = nullptr;
void *g_log_sink_user = nullptr;
rfs_output_sink_t g_output_sink = nullptr;
void *g_output_sink_user = nullptr;

int format_local_prefix(char *line) {
    time_t now = time(nullptr);
    struct tm local {};
    localtime_r(&now, &local);
    int n = snprintf(line, kLogLineSize, "[%04d-%02d-%02d %02d:%02d:%02d] ",
                     local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour,
                     local.tm_min, local.tm_sec);
    return n < 0 ? 0 : n;
}
} // namespace

int rfs_log(const char *fmt, ...) {
    // Without a sink the line would be composed only to be dropped: callers
    // log on every step of a seek and every event of a search.
    if (!g_log_sink) return 0;
    // Callers log a failed storage call and then judge it by errno (perror,
    // the dropped-disk test), so composing the line must not change errno.
    const int saved_errno = errno;
    char line[kLogLineSize];
    memset(line, 0, sizeof line);
    int n = format_local_prefix(line);

    va_list ap;
    va_start(ap, fmt);
    int r = vsnprintf(line + n, size_t(kLogLineSize - n), fmt, ap);
    va_end(ap);
    if (r < 0 || r >= kLogLineSize - n) r = -1; // truncated: the line keeps what fit

    // A line that was truncated, or fills exactly 1023 characters, gets no newline.
    if (r != -1 && n + r != kLogLineSize - 1 && n + r > 0 && line[n + r - 1] != '\n') {
        line[n + r] = '\n';
        line[n + r + 1] = '\0';
    }
    if (g_log_sink) g_log_sink(line, g_log_sink_user);
    errno = saved_errno;
    return r;
}

void rfs_print(const char *fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    if (!g_output_sink) {
        vfprintf(stdout, fmt, ap);
        va_end(ap);
        return;
    }
    // Prints are short; a longer one is cut at the line size, like a log line.
    char text[kLogLineSize];
    vsnprintf(text, sizeof text, fmt, ap);
    va_end(ap);
    g_output_sink(RFS_OUTPUT_PRINT, text, g_output_sink_user);
}

void rfs_perror(const char *text) {
    const int saved_errno = errno;
    if (!g_output_sink) {
        std::perror(text);
    } else {
        char line[kLogLineSize];
        bool lead = text && *text;
        snprintf(line, sizeof line, "%s%s%s\n", lead ? text : "", lead ? ": " : "", strerror(saved_errno));
        g_output_sink(RFS_OUTPUT_PERROR, line, g_output_sink_user);
    }
    errno = saved_errno;
}

void toggle_print_flag(int) {
    if (rfs_print_flag != 0) {
        rfs_print_flag = 0;
        rfs_print("rfs_print_flag = %d, print info\n", 0);
    } else {
        rfs_print_flag = 5;
        rfs_print("rfs_print_flag = %d, don't print info\n", 5);
    }
}

} // namespace rfs

extern "C" RFS_API int rfs_set_log_sink(rfs_log_sink_t sink, void *user) noexcept {
    rfs::g_log_sink = sink;
    rfs::g_log_sink_user = user;
    return 0;
}

extern "C" RFS_API int rfs_set_output_sink(rfs_output_sink_t sink, void *user) noexcept {
    rfs::g_output_sink = sink;
    rfs::g_output_sink_user = user;
    return 0;
}
