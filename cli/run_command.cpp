#include "run_command.h"

#include <csignal>
#include <cstdio>
#include <exception>

#include "console.h"
#include "errors.h"
#include "problems.h"

namespace cli {

int run_command(const char *name, CommandFn run, const std::vector<std::string> &words) {
    // A file-size limit makes a write fail (EFBIG) instead of killing the tool
    // before it can remove its temporary file.
    signal(SIGXFSZ, SIG_IGN);
    problems().start(name);
    try {
        int code = run(words);
        if (!finish_output(name)) return kExitFailure;
        return code != 0 ? code : problems().exit_code();
    } catch (const UsageError &e) {
        fprintf(stderr, "rfs %s: %s (try rfs %s --help)\n", name, e.what(), name);
        return kExitUsage;
    } catch (const RefusedOutput &e) {
        fprintf(stderr, "rfs %s: %s\n", name, e.what());
        return kExitUsage;
    } catch (const std::exception &e) {
        fprintf(stderr, "rfs %s: %s\n", name, e.what());
        return kExitFailure;
    }
}

} // namespace cli
