// The lock on a task list that is an ordinary file.
#include "host/process/task_list_lock.h"

#include <cerrno>
#include <ctime>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/base/whole_file.h"
#include "host/process/proc_file.h"
#include "host/process/process_tree.h"

namespace host {
namespace {

constexpr int kRetryMs = 5;

bool isSameFile(const struct stat& wanted, const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && status.st_dev == wanted.st_dev &&
           status.st_ino == wanted.st_ino;
}

// The kernel's list of locks (/proc/locks) names the process that took it, which
// may be gone since: the lock belongs to the open file, and so to its heirs.
bool showsLock(const std::string& descriptorInfo) {
    const UniqueFd file = openProcFile(descriptorInfo);
    std::string text;
    return file.isOpen() && readWhole(file.get(), text) && text.find("FLOCK") != std::string::npos;
}

bool holdsLock(pid_t process, const struct stat& wanted) {
    for (const pid_t descriptor : numbersIn(procPath(process, "fd"))) {
        const std::string number = std::to_string(descriptor);
        if (isSameFile(wanted, procPath(process, "fd/") + number) &&
            showsLock(procPath(process, "fdinfo/") + number)) {
            return true;
        }
    }
    return false;
}

}  // namespace

bool lockTaskList(int fd, int limitMs) {
    for (int waitedMs = 0; flock(fd, LOCK_EX | LOCK_NB) != 0; waitedMs += kRetryMs) {
        if (errno != EWOULDBLOCK || waitedMs >= limitMs) return false;
        const timespec pause{0, kRetryMs * 1'000'000L};
        nanosleep(&pause, nullptr);
    }
    return true;
}

void unlockTaskList(int fd) {
    flock(fd, LOCK_UN);
}

std::optional<pid_t> findListLocker(int fd) {
    struct stat wanted {};
    fstat(fd, &wanted);
    for (const pid_t process : numbersIn("/proc")) {
        if (process != getpid() && holdsLock(process, wanted)) return process;
    }
    return std::nullopt;
}

}  // namespace host
