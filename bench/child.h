// Child processes that are gone with their owner.
#pragma once

#include <csignal>
#include <functional>
#include <string>
#include <sys/prctl.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

/// Throws what errno says.
[[noreturn]] inline void throwErrno(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

/// A forked process, killed and reaped by the destructor.
class Child {
public:
    /// Runs `body` in the child, which ends when it returns.
    explicit Child(const std::function<void()>& body) : mPid(fork()) {
        if (mPid < 0) throwErrno("fork");
        if (mPid > 0) return;
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        body();
        _exit(0);
    }
    ~Child() {
        if (mPid <= 0) return;
        kill(mPid, SIGKILL);
        waitpid(mPid, nullptr, 0);
    }
    Child(Child&& other) noexcept : mPid(std::exchange(other.mPid, -1)) {}
    Child& operator=(Child&&) = delete;

    pid_t pid() const { return mPid; }

private:
    pid_t mPid;
};

/// What a program prints on its standard output; throws when it cannot be run.
std::string outputOf(std::vector<std::string> command);
