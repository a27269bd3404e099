// Runs a line of a person's through the shell.
#include "host/process/shell.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/stat.h>

#include "host/base/interruption.h"
#include "host/base/new_files.h"
#include "host/base/steady_clock.h"
#include "host/process/child_process.h"
#include "host/process/command.h"
#include "host/process/fork.h"
#include "host/process/group_guard.h"

namespace host {
namespace {

constexpr int kLineLookPeriodMs = 5;
constexpr double kLineGraceMs = 2000;

// Made before the fork, after which only async-signal-safe calls are allowed.
struct ShellPlan {
    char* const* arguments;
    char* const* environment;
    int output;
    mode_t umask;
};

[[noreturn]] void becomeShell(const ShellPlan& plan) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    setpgid(0, 0);
    resetSignals({SIGPIPE, SIGXFSZ});
    umask(plan.umask);
    const int nothing = open("/dev/null", O_RDONLY);
    dup2(nothing, STDIN_FILENO);
    dup2(plan.output, STDOUT_FILENO);
    dup2(plan.output, STDERR_FILENO);
    execve("/bin/sh", plan.arguments, plan.environment);
    _exit(kCannotRun);
}

int awaitEnd(pid_t shell) {
    int status = 0;
    double askedToEndMs = 0;
    while (waitpid(shell, &status, WNOHANG) == 0) {
        if (isInterrupted() && askedToEndMs <= 0) {
            kill(-shell, SIGTERM);
            askedToEndMs = steadyMs();
        }
        if (askedToEndMs > 0 && steadyMs() - askedToEndMs > kLineGraceMs) kill(-shell, SIGKILL);
        sleepMs(kLineLookPeriodMs);
    }
    return exitCodeOf(status);
}

}  // namespace

int runShell(const std::string& line, int output) {
    std::vector<std::string> words{"sh", "-c", line};
    std::vector<std::string> environment = launchEnvironment();
    environment.pop_back();  // the launch's moment, which is none of the shell's
    const std::vector<char*> arguments = pointersTo(words);
    const std::vector<char*> settings = pointersTo(environment);
    const ShellPlan plan{arguments.data(), settings.data(), output, personsUmask()};
    GroupGuard guard;
    const pid_t shell = forkProcess();
    if (shell == 0) becomeShell(plan);
    setpgid(shell, shell);  // whichever of us comes first
    guard.guard(shell);
    return awaitEnd(shell);
}

}  // namespace host
