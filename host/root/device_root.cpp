// The private root in which the library finds a device's paths.
#include "host/root/device_root.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sys/mman.h>
#include <sys/wait.h>

#include "host/base/exit_code.h"
#include "host/base/unique_fd.h"
#include "host/base/whole_file.h"
#include "host/process/command.h"
#include "host/process/fork.h"
#include "host/process/task_list.h"
#include "host/root/device_root_mounts.h"
#include "host/root/kernel_cpuset.h"

namespace host {
namespace {

constexpr const char* kCpusetFolder = "/dev/cpuset";

// Set for the program inside: "READY ERRORS IGNORED", two descriptors and a
// mask of signals.
constexpr const char* kArrivalVariable = "ORVO_DEVICE_ROOT";
bool hasArrived = false;

constexpr int kForwardedSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGUSR1};

bool exists(const char* path) {
    return access(path, F_OK) == 0;
}

// --- Around the root: the process that stays outside and passes signals on.

bool isIgnored(int signal) {
    struct sigaction action {};
    sigaction(signal, nullptr, &action);
    return action.sa_handler == SIG_IGN;
}

/// The signals that this process takes, blocked, by waiting for them. Those that
/// were ignored at its start (nohup) stay so.
struct AwaitedSignals {
    AwaitedSignals() {
        std::signal(SIGCHLD, SIG_DFL);
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

    sigset_t set{};
    sigset_t before{};
    unsigned ignored = 0;
};

int exitCodeOf(int status) {
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

/// Passes signals on to `inside` until `child` has ended; returns its exit code.
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

// --- The root's parts.

Graft taskListGraft(int emptyFile) {
    return {kTaskListPath, {"--perms", "0666", "--file", std::to_string(emptyFile), kTaskListPath}};
}

Graft dumpGraft(const std::string& folder) {
    if (folder.empty()) return {kDumpFolder, {"--dir", kDumpFolder}};
    return {kDumpFolder, {"--bind", folder, kDumpFolder}};
}

std::vector<Graft> missingParts(const DeviceRootOptions& options, const KernelCpuset* cpuset,
                                int emptyFile) {
    std::vector<Graft> grafts;
    if (cpuset != nullptr) {
        grafts.push_back({kCpusetFolder, {"--dev-bind", cpuset->folder(), kCpusetFolder}});
    } else if (!exists(kTaskListPath)) {
        grafts.push_back(taskListGraft(emptyFile));
    }
    if (!exists(kDumpFolder)) grafts.push_back(dumpGraft(options.dumpFolder));
    return grafts;
}

// A file for bubblewrap to read its mounts from: there are too many of them for
// a command line that anyone would look at.
UniqueFd mountList(const std::vector<Graft>& grafts) {
    std::string list;
    for (const std::string& argument : mirrorArguments("", grafts))
        list += argument + '\0';
    UniqueFd file(memfd_create("mounts", 0));
    if (!writeWhole(file.get(), list) || lseek(file.get(), 0, SEEK_SET) != 0) {
        throw HostError(kEnvironment, std::string("cannot list the private root's mounts: ") +
                                          std::strerror(errno) +
                                          "; free some memory, and raise the limit of file sizes "
                                          "(ulimit -f)");
    }
    return file;
}

std::vector<std::string> bubblewrapArguments(int mounts, const std::vector<std::string>& program) {
    std::vector<std::string> arguments{"bwrap", "--die-with-parent", "--args",
                                       std::to_string(mounts), "--"};
    arguments.push_back(std::filesystem::read_symlink("/proc/self/exe"));
    arguments.insert(arguments.end(), program.begin() + 1, program.end());
    return arguments;
}

// --- When it cannot be made.

bool sysctlIs(const std::string& path, const std::string& value) {
    std::ifstream file("/proc/sys/" + path);
    std::string text;
    return file >> text && text == value;
}

std::string remedy() {
    if (sysctlIs("kernel/unprivileged_userns_clone", "0")) {
        return "run as root, or allow user namespaces: sysctl kernel.unprivileged_userns_clone=1";
    }
    if (sysctlIs("user/max_user_namespaces", "0")) {
        return "run as root, or allow user namespaces: sysctl user.max_user_namespaces=10000";
    }
    if (sysctlIs("kernel/apparmor_restrict_unprivileged_userns", "1")) {
        return "run as root, or allow user namespaces: "
               "sysctl kernel.apparmor_restrict_unprivileged_userns=0";
    }
    return "in a container, start that with the right to make namespaces (CAP_SYS_ADMIN)";
}

std::string readLastLine(int fd) {
    std::string text;
    if (!readWhole(fd, text)) return std::strerror(errno);
    while (!text.empty() && text.back() == '\n')
        text.pop_back();
    return text.substr(text.rfind('\n') + 1);
}

// --- Starting bubblewrap.

// Bubblewrap itself must outlive the signals: when it ends, what is inside dies.
void ignoreSignals() {
    for (const int signal : kForwardedSignals)
        std::signal(signal, SIG_IGN);
}

void keepOpenOnExec(int fd) {
    fcntl(fd, F_SETFD, 0);
}

[[noreturn]] void becomeBubblewrap(const std::string& file, std::vector<std::string> arguments,
                                   int readyEnd, int errorsEnd, const AwaitedSignals& signals) {
    // Bubblewrap's complaints go into the pipe; the program inside gets its
    // standard error back.
    const int standardError = dup(STDERR_FILENO);
    dup2(errorsEnd, STDERR_FILENO);
    keepOpenOnExec(readyEnd);
    const std::string arrival = std::to_string(readyEnd) + ' ' + std::to_string(standardError) +
                                ' ' + std::to_string(signals.ignored);
    setenv(kArrivalVariable, arrival.c_str(), 1);
    ignoreSignals();
    sigprocmask(SIG_SETMASK, &signals.before, nullptr);
    execv(file.c_str(), pointersTo(arguments).data());
    std::perror("bwrap");
    _exit(kEnvironment);
}

pid_t startBubblewrap(const std::vector<std::string>& arguments, int readyEnd, int errorsEnd,
                      const AwaitedSignals& signals) {
    const std::string file = findProgram("bwrap");
    const pid_t child = forkProcess();
    if (child == 0) becomeBubblewrap(file, arguments, readyEnd, errorsEnd, signals);
    return child;
}

}  // namespace

void arriveInDeviceRoot() {
    const char* arrival = std::getenv(kArrivalVariable);
    if (arrival == nullptr) return;
    int readyEnd = -1;
    int standardError = -1;
    unsigned ignored = 0;
    if (std::sscanf(arrival, "%d %d %u", &readyEnd, &standardError, &ignored) != 3) {
        throw HostError(kUsage, std::string(kArrivalVariable) + " is set; unset it");
    }
    unsetenv(kArrivalVariable);
    hasArrived = true;
    dup2(standardError, STDERR_FILENO);
    close(standardError);
    for (const int signal : kForwardedSignals) {
        if ((ignored & (1U << signal)) == 0) std::signal(signal, SIG_DFL);
    }
    const pid_t self = getpid();
    [[maybe_unused]] const ssize_t written = write(readyEnd, &self, sizeof self);
    close(readyEnd);
}

bool hasArrivedInDeviceRoot() {
    return hasArrived;
}

bool isDeviceRoot(bool realCpuset) {
    const bool complete = exists(kTaskListPath) && exists(kDumpFolder) &&
                          (!realCpuset || isKernelTaskList(kTaskListPath));
    if (complete || !hasArrived) return complete;
    throw HostError(kEnvironment, std::string("the private root lacks ") + kTaskListPath + " or " +
                                      kDumpFolder + "; run it with another bubblewrap");
}

int runInDeviceRoot(const DeviceRootOptions& options, const std::vector<std::string>& program) {
    if (!isInstalled("bwrap")) {
        throw HostError(kEnvironment,
                        "bubblewrap is not installed; run: apt-get install bubblewrap");
    }
    std::optional<KernelCpuset> cpuset;
    if (options.realCpuset) cpuset.emplace();
    // Bubblewrap inherits both.
    const UniqueFd emptyFile(open("/dev/null", O_RDONLY));
    const UniqueFd mounts =
        mountList(missingParts(options, cpuset ? &*cpuset : nullptr, emptyFile.get()));

    Pipe ready;
    Pipe errors;
    const AwaitedSignals signals;
    const pid_t bubblewrap = startBubblewrap(bubblewrapArguments(mounts.get(), program),
                                             ready.writeEnd.get(), errors.writeEnd.get(), signals);
    ready.writeEnd.reset();
    errors.writeEnd.reset();
    pid_t inside = 0;
    if (read(ready.readEnd.get(), &inside, sizeof inside) == sizeof inside) {
        return passSignalsOn(signals, inside, bubblewrap);
    }
    waitpid(bubblewrap, nullptr, 0);
    throw HostError(kEnvironment, "the private root cannot be made (" +
                                      readLastLine(errors.readEnd.get()) + "); " + remedy());
}

}  // namespace host
