// The child processes and files of the made-up device.
#include "tests/support/device.h"

#include <csignal>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
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

// A fork, with that pid unless it is 0.
pid_t forkAs(pid_t wanted) {
    if (wanted == 0) return fork();
    clone_args arguments{};
    arguments.exit_signal = SIGCHLD;
    arguments.set_tid = reinterpret_cast<std::uintptr_t>(&wanted);
    arguments.set_tid_size = 1;
    return static_cast<pid_t>(syscall(SYS_clone3, &arguments, sizeof(arguments)));
}

void growOnCommand(int socket) {
    int mebibytes = 0;
    while (read(socket, &mebibytes, sizeof(mebibytes)) == sizeof(mebibytes)) {
        const auto size = static_cast<std::size_t>(mebibytes) << 20U;
        void* const memory =
            mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) return;
        std::memset(memory, 1, size);
        if (write(socket, &mebibytes, sizeof(mebibytes)) < 0) return;
    }
}

}  // namespace

void setTasks(const std::string& text) {
    std::ofstream(kTasksPath) << text;
}

std::string dumpPath(const std::string& appName) {
    return "/data/vendor/lm/" + appName + "_vmrss.csv";
}

std::string nameOf(pid_t task) {
    const std::string commandLine = contentOf("/proc/" + std::to_string(task) + "/cmdline");
    return commandLine.substr(0, commandLine.find('\0'));
}

std::ptrdiff_t openDescriptors() {
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return std::distance(begin(descriptors), end(descriptors));
}

Child::Child(pid_t wanted, const std::function<void(int socket)>& program) : Child() {
    int sockets[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) != 0)
        throw std::runtime_error("no sockets");
    mPid = forkAs(wanted);
    if (mPid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        close(sockets[0]);
        program(sockets[1]);
        _exit(1);
    }
    close(sockets[1]);
    mSocket = sockets[0];
    if (mPid < 0) throw std::runtime_error("fork failed");
    grow(1);  // answered once the program has started
}

Child Child::named(const std::string& name, pid_t pid) {
    return {pid, [&](int socket) {
                dup2(socket, STDIN_FILENO);
                dup2(socket, STDOUT_FILENO);
                execl("/bin/cat", name.c_str(), nullptr);  // answers with what it is sent
            }};
}

Child Child::growing() {
    return {0, growOnCommand};
}

Child::Child(Child&& other) noexcept
    : mPid(std::exchange(other.mPid, -1)), mSocket(std::exchange(other.mSocket, -1)) {}

Child::~Child() {
    die();
    if (mSocket >= 0) close(mSocket);
}

void Child::grow(int mebibytes) {
    int done = 0;
    if (write(mSocket, &mebibytes, sizeof(mebibytes)) < 0 ||
        read(mSocket, &done, sizeof(done)) != sizeof(done)) {
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
