// rfs: command-line access to recorder disks.
#include <cstdio>
#include <cstring>

#include "commands.h"
#include "console.h"
#include "errors.h"
#include "run_command.h"

namespace {

struct Command {
    const char *name;
    cli::CommandFn run;
    const char *summary;
};

const Command kCommands[] = {
    {"info", cli::run_info, "format, size, partitions, time range, channels and repairs of disks"},
    {"ls", cli::run_ls, "list recorded events by channel, time and type"},
    {"export", cli::run_export, "write one channel's stored stream to a file"},
    {"repair", cli::run_repair, "show what mounting repairs on a disk that lost power (--write makes it)"},
    {"motion", cli::run_motion, "motion segments and a heat map of one channel's day"},
    {"calendar", cli::run_calendar, "a month's days with recordings, pictures and labels, per channel"},
    {"timeline", cli::run_timeline, "a day's half hours with recordings, one bar per record type"},
    {"pics", cli::run_pics, "list stored pictures; --extract writes each to a file"},
    {"labels", cli::run_labels, "list the text labels, by keyword, channel and time"},
    {"demo", cli::run_demo, "make example disks, play and repair them, checking every byte"},
    {"mkdisk", cli::run_mkdisk, "write a disk from a recorder scenario (JSON)"},
};

void print_usage(FILE *to) {
    fputs("usage: rfs <command> [options]   (rfs <command> --help for its options)\n\n", to);
    for (const Command &c : kCommands) fprintf(to, "  %-8s %s\n", c.name, c.summary);
    fputs("\n  --version  print the tool and disk-format version\n"
          "  --help     show this text\n\n"
          "A DISK is a raw image file or a NAS folder. The tool never writes to a disk\n"
          "unless --write is given, and never overwrites a file it did not create\n"
          "unless --force is given. Whatever it cannot read or does not show is said\n"
          "on stderr (and in --json as \"problems\").\n"
          "Exit codes: 0 a whole answer, 1 failure (or, with --strict, any problem),\n"
          "2 bad command line or a refused output.\n",
          to);
}

const Command *find_command(const char *name) {
    for (const Command &c : kCommands)
        if (!strcmp(c.name, name)) return &c;
    return nullptr;
}

} // namespace

int main(int argc, char **argv) {
    if (argc < 2) {
        print_usage(stderr);
        return cli::kExitUsage;
    }
    if (!strcmp(argv[1], "--help") || !strcmp(argv[1], "-h")) {
        print_usage(stdout);
        return cli::finish_output("--help") ? 0 : cli::kExitFailure;
    }
    if (!strcmp(argv[1], "--version")) {
        printf("rfs %s (disk format 5.1)\n", RFS_TOOL_VERSION);
        return cli::finish_output("--version") ? 0 : cli::kExitFailure;
    }
    const Command *command = find_command(argv[1]);
    if (!command) {
        fprintf(stderr, "rfs: unknown command '%s' (try rfs --help)\n", argv[1]);
        return cli::kExitUsage;
    }
    return cli::run_command(command->name, command->run, std::vector<std::string>(argv + 2, argv + argc));
}
