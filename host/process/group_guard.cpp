// Ends a process group when its host is killed.
#include "host/process/group_guard.h"

#include <cerrno>
#include <csignal>
#include <sys/wait.h>

#include "host/process/fork.h"

namespace host {
namespace {

// Async-signal-safe, for another thread may have held any lock at the fork.
[[noreturn]] void standGuard(int groups) {
    pid_t group = 0;
    pid_t told = 0;
    ssize_t length = 0;
    while ((length = read(groups, &told, sizeof told)) != 0) {
        if (length == sizeof told) group = told;
        if (length < 0 && errno != EINTR) break;
    }
    if (group > 0) kill(-group, SIGKILL);
    _exit(0);
}

}  // namespace

GroupGuard::GroupGuard() {
    Pipe pipe;
    mPid = forkProcess();
    if (mPid == 0) {
        // Its own copy of the host's end would keep the pipe open for ever.
        pipe.writeEnd.reset();
        setpgid(0, 0);  // out of reach of what ends the host's own group
        standGuard(pipe.readEnd.get());
    }
    mHostEnd = std::move(pipe.writeEnd);
}

GroupGuard::~GroupGuard() {
    kill(mPid, SIGKILL);
    waitpid(mPid, nullptr, 0);
}

void GroupGuard::guard(pid_t group) {
    [[maybe_unused]] const ssize_t written = write(mHostEnd.get(), &group, sizeof group);
}

}  // namespace host
