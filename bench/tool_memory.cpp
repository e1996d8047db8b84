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

// A process that runs the tool for us. A child keeps the peak resident size
// of the process it was forked from through exec, so the tool is forked from
// this one, which was forked while the benchmark process was still small.
struct Runner {
    int to = -1, from = -1;
};
Runner g_runner;

bool write_all(int fd, const void *p, size_t n) {
    return ::write(fd, p, n) == ssize_t(n);
}
bool read_all(int fd, void *p, size_t n) {
    return ::read(fd, p, n) == ssize_t(n);
}

// Peak resident kilobytes of one run, its output thrown away; -1 when it
// could not run or failed.
long run_once(const std::vector<std::string> &args) {
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

// Requests: an argument count, then each argument as its length and bytes;
// the answer is run_once's result.
[[noreturn]] void serve(int in, int out) {
    for (uint32_t n = 0; read_all(in, &n, sizeof n);) {
        std::vector<std::string> args(n);
        for (std::string &a : args) {
            uint32_t len = 0;
            if (!read_all(in, &len, sizeof len)) _exit(1);
            a.resize(len);
            if (len && !read_all(in, a.data(), len)) _exit(1);
        }
        long kb = run_once(args);
        if (!write_all(out, &kb, sizeof kb)) _exit(1);
    }
    _exit(0);
}

long peak_kb(const std::vector<std::string> &args) {
    uint32_t n = uint32_t(args.size());
    bool sent = g_runner.to >= 0 && write_all(g_runner.to, &n, sizeof n);
    for (const std::string &a : args) {
        uint32_t len = uint32_t(a.size());
        sent = sent && write_all(g_runner.to, &len, sizeof len) && write_all(g_runner.to, a.data(), len);
    }
    long kb = -1;
    return sent && read_all(g_runner.from, &kb, sizeof kb) ? kb : -1;
}

} // namespace

void start_tool_runner() {
    int request[2], answer[2];
    if (pipe(request) != 0 || pipe(answer) != 0) return;
    pid_t pid = fork();
    if (pid == 0) {
        close(request[1]);
        close(answer[0]);
        serve(request[0], answer[1]);
    }
    close(request[0]);
    close(answer[1]);
    if (pid > 0) g_runner = {request[1], answer[0]};
}

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
