// A command that runs in the foreground within another process's task list.
#include "host/process/joined_command.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <optional>
#include <sys/prctl.h>
#include <unistd.h>

#include "host/base/exit_code.h"
#include "host/base/standard_streams.h"
#include "host/process/child_process.h"
#include "host/process/command.h"
#include "host/process/fork.h"
#include "host/process/package_name.h"

namespace host {
namespace {

constexpr long kLookPeriodNs = 50'000'000;
constexpr int kLooksUntilName = 20;  // a second

volatile std::sig_atomic_t commandPid = 0;

void passOn(int signal) {
    if (commandPid > 0) kill(commandPid, signal);
}

// Signals to pass on, while there is nobody yet to pass them on to.
class SignalPause {
public:
    SignalPause() {
        sigset_t passedOn;
        sigemptyset(&passedOn);
        for (const int signal : {SIGTERM, SIGHUP})
            sigaddset(&passedOn, signal);
        sigprocmask(SIG_BLOCK, &passedOn, &mBefore);
    }
    ~SignalPause() { end(); }
    SignalPause(const SignalPause&) = delete;
    SignalPause& operator=(const SignalPause&) = delete;

    void end() const { sigprocmask(SIG_SETMASK, &mBefore, nullptr); }

private:
    sigset_t mBefore{};
};

void setSignals() {
    for (const int signal : {SIGINT, SIGQUIT})
        std::signal(signal, SIG_IGN);
    for (const int signal : {SIGTERM, SIGHUP})
        std::signal(signal, passOn);
}

// The command inherits the place.
void joinKernelList(const std::string& taskList) {
    const UniqueFd list(open(taskList.c_str(), O_WRONLY | O_CLOEXEC));
    const std::string pid = std::to_string(getpid());
    if (list.isOpen() && write(list.get(), pid.data(), pid.size()) > 0) return;
    throw HostError(kEnvironment, "cannot join " + taskList + ": " + std::strerror(errno) +
                                      "; run it as the user who watches");
}

// Runs before any other thread of ours, so that nothing is forbidden here.
[[noreturn]] void becomeCommand(const CommandLine& command, const SignalPause& pause) {
    prctl(PR_SET_PDEATHSIG, SIGHUP);  // as if its terminal were gone
    resetSignals({SIGINT, SIGQUIT, SIGTERM, SIGHUP, SIGXFSZ});
    pause.end();
    std::vector<std::string> words = command.arguments;
    execv(command.file.c_str(), pointersTo(words).data());
    const int error = errno;
    sayLine("cannot run " + command.file + ": " + std::strerror(error));
    _exit(kCannotRun);
}

// Orphans of the command end up as our children too.
std::optional<int> reap(pid_t command) {
    std::optional<int> commandStatus;
    int status = 0;
    for (pid_t child = 0; (child = waitpid(-1, &status, WNOHANG)) > 0;) {
        if (child == command) commandStatus = status;
    }
    return commandStatus;
}

// A script shows its interpreter's name, and a wrapper that of what it starts.
void noteName(pid_t command, const std::string& expected) {
    const std::string name = shownName(command);
    if (name.empty() || name == expected || !looksLikePackage(expected)) return;
    sayLine("the process shows the name '" + name + "', not '" + expected +
            "', and is not taken for a launch of it; run its interpreter as COMMAND");
}

// False, and said, when the list cannot be kept: the command goes on without.
bool keepListed(TaskListKeeper& keeper, const ProcessTree& tree) {
    try {
        keeper.keep(tree.tasks());
        return true;
    } catch (const HostError& error) {
        sayLine(std::string(error.what()) + "; nothing more of COMMAND is seen");
        return false;
    }
}

pid_t start(const CommandLine& command) {
    const SignalPause pause;
    setSignals();
    const pid_t child = forkProcess();
    if (child == 0) becomeCommand(command, pause);
    commandPid = child;
    return child;
}

int tendUntilEnd(pid_t command, const std::string& name, ProcessTree& tree,
                 std::optional<TaskListKeeper>& keeper) {
    const timespec period{0, kLookPeriodNs};
    for (int look = 0;; ++look) {
        if (look == kLooksUntilName) noteName(command, name);
        const std::optional<int> status = reap(command);
        tree.update();
        if (keeper && !keepListed(*keeper, tree)) keeper.reset();
        if (status) return exitCodeOf(*status);
        nanosleep(&period, nullptr);
    }
}

}  // namespace

int runJoined(const CommandLine& command, const std::string& taskList) {
    std::optional<TaskListKeeper> keeper;
    if (isKernelTaskList(taskList)) {
        joinKernelList(taskList);
    } else {
        keeper.emplace(taskList);
    }
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    ProcessTree tree;
    const pid_t child = start(command);
    return tendUntilEnd(child, command.arguments.front(), tree, keeper);
}

}  // namespace host
