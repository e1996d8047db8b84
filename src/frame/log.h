// The diagnostic log and the console print. rfs_log composes a full line
// (local-time prefix + message + newline rule) in a 1024-byte stack buffer and
// hands it to the installed sink. Without a sink nothing is composed (the
// line would only be dropped) and the result is 0; no caller uses it.
#pragma once

#include "rfs.h"

namespace rfs {

constexpr int kLogLineSize = 1024;

int rfs_log(const char *fmt, ...) RFS_PRINTF(1, 2);
// Console output: to standard output, or to the host's output sink.
void rfs_print(const char *fmt, ...) RFS_PRINTF(1, 2);
// The runtime's perror ("text: reason" on standard error), or the same line
// handed to the host's output sink. errno is left as it was.
void rfs_perror(const char *text);

// Print-flag toggle, installed for signal 34 by rfs_init.
void toggle_print_flag(int signo);
extern volatile int rfs_print_flag;

void dump_search_param(const RfsSearchParam *p);
// Prints one picture of a picture list when level is below 2.
void dump_pic_record(const RfsPic *pic, int level);

} // namespace rfs
