// Starts this program again inside what bubblewrap makes, and stays around it.
#include "host/root/bubblewrap.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>

#include "host/base/exit_code.h"
#include "host/base/unique_fd.h"
#include "host/base/whole_file.h"
#include "host/process/child_process.h"
#include "host/process/command.h"
#include "host/process/fork.h"
#include "host/process/process_tree.h"
#include "host/process/terminal.h"
#include "host/root/device_root.h"

namespace host {
namespace {

// Set for the program inside: "DOOR ERRORS IGNORED", two descriptors and a mask
// of signals.
constexpr const char* kArrivalVariable = "ORVO_DEVICE_ROOT";
bool hasArrived = false;

// Those that a person or a terminal sends to end the program, and those to which
// a command of orvo-device-root may give a meaning of its own.
constexpr int kForwardedSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGUSR1, SIGUSR2};
constexpr int kLookPeriodMs = 20;
constexpr int kKilled = 128 + SIGKILL;
constexpr int kOurEnd = SIGALRM;

bool isIgnored(int signal) {
    struct sigaction action {};
    sigaction(signal, nullptr, &action);
    return action.sa_handler == SIG_IGN;
}

// The signals that this process takes, blocked, by waiting for them. Those that
// were ignored at its start (nohup) stay so.
struct AwaitedSignals {
    AwaitedSignals() {
        resetSignals({SIGCHLD});
        sigemptyset(&set);
        sigaddset(&set, SIGCHLD);
        for (const int signal : kForwardedSignals) {
            if (isIgnored(signal)) {
                ignored |= 1U << signal;
            } else {
                sigaddset(&set, signal);
            }
        }
        sigprocmask(SIG_BLOCK, &set, &before);
    }
    ~AwaitedSignals() { sigprocmask(SIG_SETMASK, &before, nullptr); }
    AwaitedSignals(const AwaitedSignals&) = delete;
    AwaitedSignals& operator=(const AwaitedSignals&) = delete;

    sigset_t set{};
    sigset_t before{};
    unsigned ignored = 0;
};

// Where the two sides meet.
struct Door {
    Door() {
        int ends[2];
        const int on = 1;
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
            throw HostError(kEnvironment, std::string("cannot make a socket: ") +
                                              std::strerror(errno) +
                                              "; raise the limit of open files (ulimit -n)");
        }
        outside = UniqueFd(ends[0]);
        inside = UniqueFd(ends[1]);
        setsockopt(outside.get(), SOL_SOCKET, SO_PASSCRED, &on, sizeof on);
    }
    UniqueFd outside;
    UniqueFd inside;
};

// --- Starting bubblewrap.

// Bubblewrap itself must outlive the signals: when it ends, what is inside dies.
void ignoreSignals() {
    for (const int signal : kForwardedSignals)
        std::signal(signal, SIG_IGN);
}

void keepOpenOnExec(int fd) {
    fcntl(fd, F_SETFD, 0);
}

[[noreturn]] void execBubblewrap(const std::string& file, std::vector<std::string>& arguments) {
    execv(file.c_str(), pointersTo(arguments).data());
    std::perror("bwrap");
    _exit(kEnvironment);
}

// By `signal`, when `parent` ends.
void dieWith(pid_t parent, int signal) {
    prctl(PR_SET_PDEATHSIG, signal);
    if (getppid() != parent) _exit(kEnvironment);
}

[[noreturn]] void becomeBubblewrap(const std::string& file, std::vector<std::string>& arguments,
                                   int door, int errorsEnd, const AwaitedSignals& signals) {
    // Bubblewrap's complaints go into the pipe; the program inside gets its
    // standard error back.
    const int standardError = dup(STDERR_FILENO);
    dup2(errorsEnd, STDERR_FILENO);
    keepOpenOnExec(door);
    const std::string arrival = std::to_string(door) + ' ' + std::to_string(standardError) + ' ' +
                                std::to_string(signals.ignored);
    setenv(kArrivalVariable, arrival.c_str(), 1);
    ignoreSignals();
    sigprocmask(SIG_SETMASK, &signals.before, nullptr);
    execBubblewrap(file, arguments);
}

// --- Between us and bubblewrap: the keeper, a process that cleans up after it.

// Bubblewrap's second process waits for ever when the first one is killed before both
// have started; it is then the child of its nearest subreaper.
void endStuckBubblewrap() {
    try {
        for (const pid_t process : numbersIn("/proc")) {
            const std::optional<ProcessStat> stat = readProcessStat(process);
            if (!stat || stat->parent != getpid() || shownName(process) != "bwrap") continue;
            kill(process, SIGKILL);
            waitpid(process, nullptr, 0);
        }
    } catch (const HostError&) {
        // It cannot be looked for, and is seldom there.
    }
}

// Waits for bubblewrap, and ends it when kOurEnd announces our own end.
int awaitBubblewrap(pid_t bubblewrap, const sigset_t& awaited) {
    int status = 0;
    while (waitpid(bubblewrap, &status, WNOHANG) == 0) {
        if (sigwaitinfo(&awaited, nullptr) == kOurEnd) kill(bubblewrap, SIGKILL);
    }
    return exitCodeOf(status);
}

struct Start {
    std::string file;
    std::vector<std::string>& arguments;
    int door;
    int errorsEnd;
    const AwaitedSignals& signals;
};

[[noreturn]] void keepBubblewrap(const Start& start, pid_t parent) {
    sigset_t awaited;
    sigemptyset(&awaited);
    sigaddset(&awaited, SIGCHLD);
    sigaddset(&awaited, kOurEnd);
    sigprocmask(SIG_BLOCK, &awaited, nullptr);
    ignoreSignals();
    dieWith(parent, kOurEnd);
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    const pid_t self = getpid();
    const pid_t bubblewrap = fork();
    if (bubblewrap == 0) {
        dieWith(self, SIGKILL);
        becomeBubblewrap(start.file, start.arguments, start.door, start.errorsEnd, start.signals);
    }
    close(start.door);
    close(start.errorsEnd);
    const int code = bubblewrap > 0 ? awaitBubblewrap(bubblewrap, awaited) : kEnvironment;
    endStuckBubblewrap();
    _exit(code);
}

// --- Around it.

// The number of the process that knocks, as it counts on this side.
pid_t readKnock(int door) {
    char byte = 0;
    iovec content{&byte, 1};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(ucred))] = {};
    msghdr message{};
    message.msg_iov = &content;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    if (recvmsg(door, &message, MSG_CMSG_CLOEXEC) != 1) return 0;
    const cmsghdr* const header = CMSG_FIRSTHDR(&message);
    if (header == nullptr || header->cmsg_type != SCM_CREDENTIALS) return 0;
    ucred sender{};
    std::memcpy(&sender, CMSG_DATA(header), sizeof sender);
    return sender.pid;
}

bool hasEnded(pid_t child) {
    siginfo_t info{};
    return waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOHANG | WNOWAIT) != 0 ||
           info.si_pid == child;
}

// The process that arrived inside; 0 when the keeper ended before.
pid_t awaitArrival(int door, pid_t keeper) {
    pollfd knock{door, POLLIN, 0};
    while (poll(&knock, 1, kLookPeriodMs) < 1) {
        if (hasEnded(keeper)) return 0;
    }
    const pid_t inside = readKnock(door);
    const char answer = 1;
    if (inside > 0) send(door, &answer, 1, MSG_NOSIGNAL);
    return inside;
}

// Passes signals on to `inside` until `child` has ended; returns its exit code.
int passSignalsOn(const AwaitedSignals& signals, pid_t inside, pid_t child) {
    int status = 0;
    while (waitpid(child, &status, WNOHANG) == 0) {
        siginfo_t info{};
        const int signal = sigwaitinfo(&signals.set, &info);
        // A terminal's signal reaches the whole process group, the inside included.
        const bool isForInside = signal > 0 && signal != SIGCHLD && info.si_code != SI_KERNEL;
        if (isForInside) kill(inside, signal);
    }
    return exitCodeOf(status);
}

}  // namespace

BubblewrapRun runThroughBubblewrap(std::vector<std::string> arguments) {
    const std::string file = findProgram("bwrap");
    const TerminalReturn terminal;
    const AwaitedSignals signals;
    Door door;
    Pipe errors;
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    const pid_t self = getpid();
    const pid_t keeper = forkProcess();
    if (keeper == 0) {
        keepBubblewrap({file, arguments, door.inside.get(), errors.writeEnd.get(), signals}, self);
    }
    door.inside.reset();
    errors.writeEnd.reset();
    const pid_t inside = awaitArrival(door.outside.get(), keeper);
    prctl(PR_SET_CHILD_SUBREAPER, 0);  // orphans from inside must not come to us

    BubblewrapRun run;
    const int code = passSignalsOn(signals, inside, keeper);
    endStuckBubblewrap();
    if (inside > 0 || code == kKilled) {  // which is somebody's wish, and no failure
        run.exitCode = code;
    } else if (!readWhole(errors.readEnd.get(), run.complaint)) {
        run.complaint = std::strerror(errno);
    }
    return run;
}

std::string complaintOfBubblewrap(std::vector<std::string> arguments) {
    const std::string file = findProgram("bwrap");
    Pipe errors;
    const pid_t child = forkProcess();
    if (child == 0) {
        dup2(errors.writeEnd.get(), STDERR_FILENO);
        execBubblewrap(file, arguments);
    }
    errors.writeEnd.reset();
    std::string complaint;
    readWhole(errors.readEnd.get(), complaint);
    int status = 0;
    waitpid(child, &status, 0);
    if (status == 0) return "";
    return complaint.empty() ? "bwrap: exit code " + std::to_string(exitCodeOf(status)) : complaint;
}

void arriveInDeviceRoot() {
    const char* arrival = std::getenv(kArrivalVariable);
    if (arrival == nullptr) return;
    int door = -1;
    int standardError = -1;
    unsigned ignored = 0;
    if (std::sscanf(arrival, "%d %d %u", &door, &standardError, &ignored) != 3) {
        throw HostError(kUsage, std::string(kArrivalVariable) + " is set; unset it");
    }
    unsetenv(kArrivalVariable);
    hasArrived = true;
    dup2(standardError, STDERR_FILENO);
    close(standardError);
    for (const int signal : kForwardedSignals) {
        if ((ignored & (1U << signal)) == 0) resetSignals({signal});
    }
    char byte = 0;
    const bool isAwaited = send(door, &byte, 1, MSG_NOSIGNAL) == 1 && recv(door, &byte, 1, 0) == 1;
    if (!isAwaited) _exit(kEnvironment);  // nobody is left to read an error
    close(door);
}

bool hasArrivedInDeviceRoot() {
    return hasArrived;
}

}  // namespace host
