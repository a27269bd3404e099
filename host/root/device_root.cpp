// The private root in which the library finds a device's paths.
#include "host/root/device_root.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sys/mman.h>

#include "host/base/exit_code.h"
#include "host/base/unique_fd.h"
#include "host/base/whole_file.h"
#include "host/process/command.h"
#include "host/process/task_list.h"
#include "host/root/bubblewrap.h"
#include "host/root/device_root_mounts.h"
#include "host/root/kernel_cpuset.h"

namespace host {
namespace {

constexpr const char* kCpusetFolder = "/dev/cpuset";

bool exists(const char* path) {
    return access(path, F_OK) == 0;
}

// --- The root's parts.

Graft taskListGraft(int emptyFile) {
    return {kTaskListPath, {"--perms", "0666", "--file", std::to_string(emptyFile), kTaskListPath}};
}

Graft dumpGraft(const std::string& folder) {
    if (folder.empty()) return {kDumpFolder, {"--dir", kDumpFolder}};
    return {kDumpFolder, {"--bind", folder, kDumpFolder}};
}

std::vector<Graft> partsOf(const DeviceRootOptions& options, const KernelCpuset* cpuset,
                           int emptyFile) {
    std::vector<Graft> grafts;
    if (options.ownProcesses) grafts.push_back({"/proc", {"--proc", "/proc"}});
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
    for (const std::string& argument : mirrorArguments(grafts))
        list += argument + '\0';
    UniqueFd file(memfd_create("mounts", 0));
    const bool isOpen = file.isOpen();
    if (!isOpen || !writeWhole(file.get(), list) || lseek(file.get(), 0, SEEK_SET) != 0) {
        throw HostError(kEnvironment,
                        std::string("cannot list the private root's mounts: ") +
                            std::strerror(errno) + "; free some memory, and raise the limit of " +
                            (isOpen ? "file sizes (ulimit -f)" : "open files (ulimit -n)"));
    }
    return file;
}

std::vector<std::string> bubblewrapArguments(int mounts, bool ownProcesses,
                                             const std::vector<std::string>& program) {
    std::vector<std::string> arguments{"bwrap", "--die-with-parent"};
    if (ownProcesses) arguments.emplace_back("--unshare-pid");
    arguments.insert(arguments.end(), {"--args", std::to_string(mounts), "--"});
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

std::string lastLine(std::string text) {
    while (!text.empty() && text.back() == '\n')
        text.pop_back();
    return text.substr(text.rfind('\n') + 1);
}

void requireBubblewrap() {
    if (isInstalled("bwrap")) return;
    throw HostError(kEnvironment, "bubblewrap is not installed; run: apt-get install bubblewrap");
}

}  // namespace

bool isDeviceRoot(bool realCpuset) {
    const bool complete = exists(kTaskListPath) && exists(kDumpFolder) &&
                          (!realCpuset || isKernelTaskList(kTaskListPath));
    if (complete || !hasArrivedInDeviceRoot()) return complete;
    throw HostError(kEnvironment, std::string("the private root lacks ") + kTaskListPath + " or " +
                                      kDumpFolder + "; run it with another bubblewrap");
}

int runInDeviceRoot(const DeviceRootOptions& options, const std::vector<std::string>& program) {
    requireBubblewrap();
    std::optional<KernelCpuset> cpuset;
    if (options.realCpuset) cpuset.emplace();
    const UniqueFd emptyFile(open("/dev/null", O_RDONLY));  // inherited by bubblewrap
    const auto attempt = [&](const DeviceRootOptions& wanted) {
        const UniqueFd mounts =
            mountList(partsOf(wanted, cpuset ? &*cpuset : nullptr, emptyFile.get()));
        return runThroughBubblewrap(
            bubblewrapArguments(mounts.get(), wanted.ownProcesses, program));
    };
    BubblewrapRun run = attempt(options);
    if (!run.exitCode && options.ownProcesses) {
        run = attempt({options.dumpFolder, options.realCpuset, false});
    }
    if (run.exitCode) return *run.exitCode;
    throw HostError(kEnvironment, "the private root cannot be made (" + lastLine(run.complaint) +
                                      "); " + remedy());
}

std::string ownProcessesFault() {
    return lastLine(complaintOfBubblewrap(
        {"bwrap", "--unshare-pid", "--dev-bind", "/", "/", "--proc", "/proc", "--", "true"}));
}

}  // namespace host
