// One run of COMMAND as an application's launch.
#include "host/process/launched_command.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <sys/prctl.h>
#include <sys/stat.h>

#include "host/base/exit_code.h"
#include "host/base/new_files.h"
#include "host/base/steady_clock.h"
#include "host/process/child_process.h"
#include "host/process/command.h"
#include "host/process/fork.h"

namespace host {
namespace {

constexpr int kTermGraceMs = 2000;
constexpr int kKillGraceMs = 5000;
constexpr int kLookPeriodMs = 10;

// What the child reports through its pipe. Nothing more comes once the
// program runs, for the pipe closes then.
enum class Step : int { kReady, kInput, kJoin, kRun };
struct Report {
    Step step;
    int error;
};

// Everything the child needs, made before the fork: between fork and exec only
// async-signal-safe calls are allowed, for another thread of ours may have held
// any lock.
struct ChildPlan {
    const char* file;
    int output;
    mode_t umask;
    char* const* arguments;
    char* const* environment;
    char* momentDigits;  // the digits at the end of the last environment entry
    bool lockTaskList;
    CommandInput input;
    int terminal;
    int gate;
    int reports;
    pid_t parent;
};

void report(const ChildPlan& plan, Step step, int error) {
    const Report message{step, error};
    [[maybe_unused]] const ssize_t written = write(plan.reports, &message, sizeof message);
}

[[noreturn]] void giveUp(const ChildPlan& plan, Step step) {
    report(plan, step, errno);
    _exit(kEnvironment);
}

void resetAllSignals() {
    resetSignals({SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGTSTP, SIGTTOU, SIGXFSZ});
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

void useTerminal(int terminal) {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        dup2(terminal, stream);
}

void redirectStreams(const ChildPlan& plan) {
    if (plan.input == CommandInput::kTerminal) return useTerminal(plan.terminal);
    dup2(plan.output, STDOUT_FILENO);
    dup2(plan.output, STDERR_FILENO);
    if (plan.input == CommandInput::kHosts) return;
    const int input = open("/dev/null", O_RDONLY);
    if (input < 0) giveUp(plan, Step::kInput);
    dup2(input, STDIN_FILENO);
    if (input > STDERR_FILENO) close(input);
}

// Writes `value` in decimal so that it ends before `end`.
char* writeDigits(char* end, unsigned long long value) {
    do {
        *--end = static_cast<char>('0' + value % 10);
        value /= 10;
    } while (value != 0);
    return end;
}

void joinTaskList(const ChildPlan& plan) {
    const int list = open(kTaskListPath, O_WRONLY | O_APPEND | O_CLOEXEC);
    if (list < 0) giveUp(plan, Step::kJoin);
    char text[24];
    char* const end = text + sizeof text;
    end[-1] = '\n';
    const char* const start = writeDigits(end - 1, static_cast<unsigned long long>(getpid()));
    if (plan.lockTaskList && !lockTaskList(list, kListLockLimitMs)) giveUp(plan, Step::kJoin);
    if (write(list, start, static_cast<std::size_t>(end - start)) < 0) giveUp(plan, Step::kJoin);
    close(list);
}

void stampMoment(const ChildPlan& plan) {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const auto nanoseconds = static_cast<unsigned long long>(now.tv_sec) * 1'000'000'000ULL +
                             static_cast<unsigned long long>(now.tv_nsec);
    writeDigits(plan.momentDigits + std::strlen(plan.momentDigits), nanoseconds);
}

[[noreturn]] void becomeCommand(const ChildPlan& plan) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != plan.parent) _exit(kEnvironment);
    setpgid(0, 0);
    resetAllSignals();
    umask(plan.umask);
    redirectStreams(plan);
    joinTaskList(plan);
    report(plan, Step::kReady, 0);

    char go = 0;
    if (read(plan.gate, &go, 1) != 1) _exit(kEnvironment);
    stampMoment(plan);
    execve(plan.file, plan.arguments, plan.environment);
    giveUp(plan, Step::kRun);
}

// The file was there a moment ago, so ENOENT is about what it needs.
const char* runHint(int error) {
    if (error == ENOEXEC) return "; a script needs a first line like #!/bin/sh";
    if (error == ENOENT) return "; its interpreter or loader is missing";
    return "";
}

std::string failureText(const Report& report, const std::string& program) {
    std::string why = std::strerror(report.error);
    switch (report.step) {
        case Step::kInput:
            return "cannot open /dev/null: " + why;
        case Step::kJoin:
            if (report.error == EWOULDBLOCK) return listLockFault(kTaskListPath, {});
            return std::string("cannot join ") + kTaskListPath + ": " + why +
                   "; run as root or inside orvo-device-root";
        case Step::kRun:
            return "cannot run " + program + ": " + why + runHint(report.error);
        case Step::kReady:
            break;
    }
    return why;
}

}  // namespace

LaunchedCommand::LaunchedCommand(const CommandLine& commandLine, int output)
    : mProgram(commandLine.file) {
    if (!isKernelTaskList(kTaskListPath)) mTaskList.emplace(kTaskListPath);
    if (commandLine.input == CommandInput::kTerminal) mTerminal.emplace();
    // Only emulators refuse: there an orphan that left its group escapes.
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    forkChild(commandLine, output);
    expectReport();
}

void LaunchedCommand::forkChild(const CommandLine& commandLine, int output) {
    std::vector<std::string> arguments = commandLine.arguments;
    std::vector<std::string> environment = launchEnvironment();
    const std::vector<char*> argumentPointers = pointersTo(arguments);
    const std::vector<char*> environmentPointers = pointersTo(environment);
    Pipe gate;
    Pipe reports;
    const ChildPlan plan{commandLine.file.c_str(),
                         output,
                         personsUmask(),
                         argumentPointers.data(),
                         environmentPointers.data(),
                         environment.back().data() + std::strlen(kLaunchMomentVariable),
                         mTaskList.has_value(),
                         commandLine.input,
                         mTerminal ? mTerminal->fd() : -1,
                         gate.readEnd.get(),
                         reports.writeEnd.get(),
                         getpid()};
    mPid = forkProcess();
    if (mPid == 0) becomeCommand(plan);
    mGuard.guard(mPid);
    mGate = std::move(gate.writeEnd);
    mReports = std::move(reports.readEnd);
}

LaunchedCommand::~LaunchedCommand() {
    try {
        end();
    } catch (const HostError&) {
        kill(-mPid, SIGKILL);  // what left the group cannot be looked for
    }
}

// Waits for the child's report on the current step; none means that it runs.
void LaunchedCommand::expectReport() {
    Report message{};
    ssize_t length = 0;
    do {
        length = read(mReports.get(), &message, sizeof message);
    } while (length < 0 && errno == EINTR);
    if (length != sizeof message || message.step == Step::kReady) return;
    end();
    const ExitCode code = message.step == Step::kRun ? kCannotRun : kEnvironment;
    throw HostError(code, failureText(message, mProgram));
}

void LaunchedCommand::release() {
    if (mTerminal) mTerminal->giveTo(mPid);
    const char go = 1;
    mReleasedMs = steadyMs();
    [[maybe_unused]] const ssize_t written = write(mGate.get(), &go, 1);
    expectReport();
    mGate.reset();
    mReports.reset();
}

void LaunchedCommand::look() {
    reap();
    mTree.update();
}

void LaunchedCommand::tend() {
    look();
    if (mTaskList) mTaskList->keep(mTree.tasks());
}

// Orphans of the launch end up as our children too.
void LaunchedCommand::reap() {
    int status = 0;
    for (pid_t child = 0; (child = waitpid(-1, &status, WNOHANG | WUNTRACED)) > 0;) {
        if (mTerminal && child == mPid) heedKeys(status);
    }
}

// The terminal's keys reach the command alone, and mean the host too.
void LaunchedCommand::heedKeys(int status) const {
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGINT) raise(SIGINT);
    // No shell is there to let it continue.
    if (WIFSTOPPED(status) && WSTOPSIG(status) == SIGTSTP) kill(-mPid, SIGCONT);
}

void LaunchedCommand::signalAll(int signal) {
    bool groupHasMember = false;
    for (const pid_t process : mTree.processes()) {
        if (getpgid(process) == mPid) {
            groupHasMember = true;
        } else {
            kill(process, signal);
        }
    }
    // Only with a member known: an empty group's number may be someone else's.
    if (groupHasMember) kill(-mPid, signal);
}

bool LaunchedCommand::awaitEnd(int limitMs) {
    for (int waitedMs = 0; waitedMs < limitMs && !hasEnded(); waitedMs += kLookPeriodMs) {
        sleepMs(kLookPeriodMs);
        look();
    }
    return hasEnded();
}

void LaunchedCommand::end() {
    mGate.reset();
    endProcesses();
    if (mTerminal) mTerminal->takeBack();
    try {
        if (mTaskList) mTaskList->keep({});
    } catch (const HostError&) {
        // The launch is over, and the next one reports it.
    }
}

void LaunchedCommand::endProcesses() {
    look();
    signalAll(SIGTERM);
    if (awaitEnd(kTermGraceMs)) return;
    // Again and again: a process that forks while we look escapes one round.
    for (int waitedMs = 0; waitedMs < kKillGraceMs && !hasEnded(); waitedMs += kLookPeriodMs) {
        signalAll(SIGKILL);
        awaitEnd(kLookPeriodMs);
    }
}

}  // namespace host
