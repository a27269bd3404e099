// The child processes and files of the made-up device.
#include "tests/support/device.h"

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <linux/sched.h>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace device {

namespace {

pid_t forkAs(pid_t wanted) {
    clone_args arguments{};
    arguments.exit_signal = SIGCHLD;
    arguments.set_tid = reinterpret_cast<std::uintptr_t>(&wanted);
    arguments.set_tid_size = 1;
    return static_cast<pid_t>(syscall(SYS_clone3, &arguments, sizeof(arguments)));
}

/// A fork, with that pid unless it is 0, and a socket to the child.
std::pair<pid_t, int> forkWithSocket(pid_t wanted = 0) {
    int sockets[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) != 0) std::abort();
    const pid_t pid = wanted == 0 ? fork() : forkAs(wanted);
    if (pid == 0) prctl(PR_SET_PDEATHSIG, SIGKILL);
    close(sockets[pid == 0 ? 0 : 1]);
    if (pid >= 0) return {pid, sockets[pid == 0 ? 1 : 0]};
    close(sockets[0]);
    throw std::runtime_error("fork failed");
}

[[noreturn]] void growOnCommand(int socket) {
    int mebibytes = 0;
    while (read(socket, &mebibytes, sizeof(mebibytes)) == sizeof(mebibytes)) {
        const auto size = static_cast<std::size_t>(mebibytes) << 20U;
        void* const memory =
            mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) _exit(1);
        std::memset(memory, 1, size);
        if (write(socket, "", 1) != 1) break;
    }
    _exit(0);
}

}  // namespace

void setTasks(const std::string& text) {
    std::ofstream(kTasksPath) << text;
}

std::string dumpPath(const std::string& appName) {
    return "/data/vendor/lm/" + appName + "_vmrss.csv";
}

std::string contentOf(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string nameOf(pid_t task) {
    const std::string commandLine = contentOf("/proc/" + std::to_string(task) + "/cmdline");
    return commandLine.substr(0, commandLine.find('\0'));
}

Child Child::named(const std::string& name, pid_t wanted) {
    const auto [pid, socket] = forkWithSocket(wanted);
    if (pid == 0) {
        dup2(socket, STDIN_FILENO);
        dup2(socket, STDOUT_FILENO);
        execl("/bin/cat", name.c_str(), nullptr);
        _exit(1);
    }
    Child child(pid, socket);
    child.grow(0);  // cat answers with what it is sent once it has started and settled
    char rest[sizeof(int)];
    if (read(socket, rest, sizeof(int) - 1) != sizeof(int) - 1) std::abort();
    return child;
}

Child Child::growing() {
    const auto [pid, socket] = forkWithSocket();
    if (pid == 0) growOnCommand(socket);
    Child child(pid, socket);
    child.grow(1);
    return child;
}

Child::Child(Child&& other) noexcept
    : mPid(std::exchange(other.mPid, -1)), mSocket(std::exchange(other.mSocket, -1)) {}

Child::~Child() {
    die();
    if (mSocket >= 0) close(mSocket);
}

void Child::grow(int mebibytes) {
    char done = 0;
    if (write(mSocket, &mebibytes, sizeof(mebibytes)) < 0 || read(mSocket, &done, 1) != 1) {
        throw std::runtime_error("the growing child is gone");
    }
}

void Child::die(bool reap) {
    if (mPid < 1) return;
    kill(mPid, SIGKILL);
    siginfo_t info;
    waitid(P_PID, static_cast<id_t>(mPid), &info, WEXITED | (reap ? 0 : WNOWAIT));
    if (reap) mPid = -1;
}

}  // namespace device
