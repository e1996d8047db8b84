// rfs: command-line access to recorder disks.
#include <cstdio>
#include <cstring>

#include "rfs.h"

namespace {
const char kUsage[] =
    "usage: rfs <command> [options]\n"
    "\n"
    "  --version   print the library and disk-format version\n"
    "  --help      show this text\n";
} // namespace

int main(int argc, char **argv) {
    if (argc < 2 || !strcmp(argv[1], "--help") || !strcmp(argv[1], "-h")) {
        fputs(kUsage, stdout);
        return argc < 2 ? 2 : 0;
    }
    if (!strcmp(argv[1], "--version")) {
        printf("rfs 5.1.0 (disk format 5.1)\n");
        return 0;
    }
    fprintf(stderr, "rfs: unknown command '%s' (try --help)\n", argv[1]);
    return 2;
}
