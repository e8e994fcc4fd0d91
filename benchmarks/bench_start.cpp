// Process start to first painted window. Needs a display, or a platform plugin
// that does without one.

#include "ratio.h"

#include <cstdio>
#include <cstdlib>
#include <spawn.h>
#include <string>
#include <sys/wait.h>

extern char** environ;

namespace {

void runToFirstPaint(const std::string& program)
{
    std::string path = program;
    char* arguments[] = {path.data(), nullptr};
    pid_t child = 0;
    int status = 0;
    if (posix_spawn(&child, path.c_str(), nullptr, nullptr, arguments, environ) != 0 ||
        waitpid(child, &status, 0) != child || status != 0) {
        std::fprintf(stderr, "bench_start: %s did not show a window\n", program.c_str());
        std::exit(1);
    }
}

bench::Kernel startOf(const std::string& program)
{
    // Something to prepare makes every start a sample of its own.
    return {[program] { runToFirstPaint(program); }, [] {}};
}

} // namespace

int main(int argc, char** argv)
{
    bench::Report report(argc, argv);
    const std::string self = argv[0];
    const std::string folder = self.substr(0, self.find_last_of('/') + 1);
    runToFirstPaint(folder + "start_bare");
    runToFirstPaint(folder + "start_vela");
    report.compare("start to the first painted window", startOf(folder + "start_bare"),
                   startOf(folder + "start_vela"), 2.0);
    return report.exitCode();
}
