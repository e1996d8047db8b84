// The memory the rfs tool needs to list a disk: `rfs ls --json` against the
// text listing, as the peak resident size of each run.
#include "tool_memory.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "disk_alias.h"

namespace bench {

namespace {

// Peak resident kilobytes of one run of the tool, its output thrown away;
// -1 when it could not run or failed.
long peak_kb(const std::vector<std::string> &args) {
    pid_t pid = fork();
    if (pid < 0) return -1;
    if (pid == 0) {
        int null = open("/dev/null", O_WRONLY);
        dup2(null, STDOUT_FILENO);
        dup2(null, STDERR_FILENO);
        std::vector<char *> argv;
        for (const std::string &a : args) argv.push_back(const_cast<char *>(a.c_str()));
        argv.push_back(nullptr);
        execv(argv[0], argv.data());
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    if (wait4(pid, &status, 0, &usage) != pid || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
        return -1;
    return usage.ru_maxrss;
}

} // namespace

std::vector<ToolMemory> measure_tool_memory(const std::vector<const Scale *> &scales) {
    std::vector<ToolMemory> out;
#ifdef RFS_TOOL
    for (const Scale *s : scales) {
        const Disk &disk = scale_disk(*s, false);
        ToolMemory m{"rfs ls", std::string(s->name) + " raw"};
        m.json_kb = peak_kb({RFS_TOOL, "ls", disk.path, "--json"});
        m.text_kb = peak_kb({RFS_TOOL, "ls", disk.path});
        out.push_back(m);
    }
#else
    (void)scales;
#endif
    return out;
}

} // namespace bench
