// The top-app task list of the private root, kept as a kernel cpuset keeps it.
#include "host/process/task_list.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <linux/magic.h>
#include <set>
#include <sys/stat.h>
#include <sys/vfs.h>

#include "host/base/exit_code.h"
#include "host/process/proc_file.h"
#include "host/process/process_tree.h"

namespace host {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";

bool taskExists(pid_t task) {
    return access(("/proc/" + std::to_string(task)).c_str(), F_OK) == 0;
}

std::string textOf(int fd) {
    std::string text;
    char buffer[4096];
    ssize_t length = 0;
    while ((length = pread(fd, buffer, sizeof buffer, static_cast<off_t>(text.size()))) > 0) {
        text.append(buffer, static_cast<std::size_t>(length));
    }
    return text;
}

// One task id a line, filled up with newlines to `minimumSize` bytes.
std::string formatTaskList(const std::vector<pid_t>& tasks, std::size_t minimumSize) {
    std::string text;
    for (const pid_t task : tasks)
        text += std::to_string(task) + '\n';
    if (text.size() < minimumSize) text.resize(minimumSize, '\n');
    return text;
}

// Keeps other hosts and joining children from changing the list.
class ListLock {
public:
    ListLock(int fd, int limitMs) : mFd(fd), mIsHeld(lockTaskList(fd, limitMs)) {}
    ~ListLock() { unlockTaskList(mFd); }
    ListLock(const ListLock&) = delete;
    ListLock& operator=(const ListLock&) = delete;

    bool isHeld() const { return mIsHeld; }

private:
    const int mFd;
    const bool mIsHeld;
};

}  // namespace

std::vector<pid_t> parseTaskList(std::string_view text) {
    std::vector<pid_t> tasks;
    while (true) {
        const std::size_t start = text.find_first_not_of(kBlanks);
        if (start == std::string_view::npos) return tasks;
        text.remove_prefix(start);
        pid_t task = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), task);
        if (error != std::errc()) return tasks;
        tasks.push_back(task);
        text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    }
}

std::vector<pid_t> mergeTasks(const std::vector<pid_t>& listed, const std::vector<pid_t>& own,
                              const std::function<bool(pid_t)>& isAlive) {
    std::vector<pid_t> merged;
    std::set<pid_t> seen;
    for (const pid_t task : listed) {
        if (isAlive(task) && seen.insert(task).second) merged.push_back(task);
    }
    for (const pid_t task : own) {
        if (seen.insert(task).second) merged.push_back(task);
    }
    return merged;
}

bool isKernelTaskList(const std::string& path) {
    struct statfs fileSystem {};
    return statfs(path.c_str(), &fileSystem) == 0 && fileSystem.f_type == CGROUP_SUPER_MAGIC;
}

TaskListReader::TaskListReader(const std::string& path)
    : mPath(path), mIsKernels(isKernelTaskList(path)) {
    reopen();
}

void TaskListReader::reopen() {
    mFile = UniqueFd(open(mPath.c_str(), O_RDONLY | O_CLOEXEC));
    if (!mFile.isOpen()) fail("open");
}

// One descriptor is held, except on the kernel's own list: that is drawn up when
// a descriptor is first read, and every read of the same one puts its renewal
// off for a second, so that polling through it shows the first list for ever.
std::vector<pid_t> TaskListReader::read() {
    if (mIsKernels) reopen();
    errno = 0;
    const std::string text = textOf(mFile.get());
    if (errno != 0) fail("read");
    return parseTaskList(text);
}

void TaskListReader::fail(const char* doing) const {
    throw HostError(kEnvironment, std::string("cannot ") + doing + ' ' + mPath + ": " +
                                      std::strerror(errno) +
                                      "; run as root or inside orvo-device-root");
}

std::string listLockFault(const std::string& path, const std::vector<pid_t>& own) {
    const UniqueFd file = openProcFile(path);
    const std::optional<pid_t> locker = findListLocker(file.get());
    const std::string what = " has locked " + path + " and holds up the host; ";
    if (!locker) return "a process that cannot be seen from here" + what + "end it";
    const std::string name = " (" + shownName(*locker) + ')';
    // No number: a namespace of the host's own may have given it.
    if (std::find(own.begin(), own.end(), *locker) != own.end()) {
        return "COMMAND" + name + what + "have it lock another file";
    }
    return "process " + std::to_string(*locker) + name + what + "end it";
}

TaskListKeeper::TaskListKeeper(const std::string& path)
    : mPath(path), mFile(open(path.c_str(), O_RDWR | O_CLOEXEC)) {
    if (mFile.isOpen()) return;
    throw HostError(kEnvironment, "cannot write " + path + ": " + std::strerror(errno) +
                                      "; run as root or inside orvo-device-root");
}

void TaskListKeeper::keep(const std::vector<pid_t>& own, int lockLimitMs) {
    const ListLock lock(mFile.get(), lockLimitMs);
    if (!lock.isHeld()) throw HostError(kEnvironment, listLockFault(mPath, own));
    if (rewrite(own)) return;
    throw HostError(kEnvironment,
                    "cannot rewrite " + mPath + ": " + std::strerror(errno) + "; free some memory");
}

bool TaskListKeeper::rewrite(const std::vector<pid_t>& own) {
    const std::string oldText = textOf(mFile.get());
    const std::vector<pid_t> listed = parseTaskList(oldText);
    const std::vector<pid_t> merged = mergeTasks(listed, own, taskExists);
    if (merged == listed) return true;
    // A shorter list covers the longer one before the file is cut, so that a
    // reader in between never sees the tail of an old number.
    const std::string covering = formatTaskList(merged, oldText.size());
    const std::size_t length = formatTaskList(merged, 0).size();
    return pwrite(mFile.get(), covering.data(), covering.size(), 0) >= 0 &&
           ftruncate(mFile.get(), static_cast<off_t>(length)) == 0;
}

}  // namespace host
