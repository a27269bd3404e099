// Counts by tracing a child from one marker call to the next.
#include "bench/syscall_count.h"

#include <stdexcept>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "bench/child.h"

namespace {

constexpr int kSysCallStop = SIGTRAP | 0x80;  // with PTRACE_O_TRACESYSGOOD

// A call that the measured code has no reason to make.
void marker() {
    syscall(SYS_getpgid, 0);
}

// Runs the child up to its next system call. Returns the call's number.
std::int64_t nextSystemCall(pid_t pid) {
    while (true) {
        if (ptrace(PTRACE_SYSCALL, pid, nullptr, nullptr) != 0) throwErrno("ptrace");
        int status = 0;
        if (waitpid(pid, &status, 0) != pid || !WIFSTOPPED(status))
            throw std::runtime_error("the traced process ended early");
        if (WSTOPSIG(status) != kSysCallStop) continue;
        __ptrace_syscall_info info{};
        ptrace(PTRACE_GET_SYSCALL_INFO, pid, sizeof(info), &info);
        if (info.op == PTRACE_SYSCALL_INFO_ENTRY) return static_cast<std::int64_t>(info.entry.nr);
    }
}

}  // namespace

std::int64_t countSystemCalls(const std::function<void()>& warmUp,
                              const std::function<void()>& measured) {
    const Child child([&] {
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        raise(SIGSTOP);
        warmUp();
        marker();
        measured();
        marker();
    });
    waitpid(child.pid(), nullptr, WUNTRACED);
    ptrace(PTRACE_SETOPTIONS, child.pid(), nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    while (nextSystemCall(child.pid()) != SYS_getpgid) {
    }
    std::int64_t calls = 0;
    while (nextSystemCall(child.pid()) != SYS_getpgid)
        ++calls;
    return calls;
}
