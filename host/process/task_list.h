// The top-app task list of the private root, kept as a kernel cpuset keeps it.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

#include "host/base/unique_fd.h"
#include "host/process/task_list_lock.h"

namespace host {

constexpr const char* kTaskListPath = "/dev/cpuset/top-app/tasks";

/// The task ids in `text`, up to the first thing that is not a number.
std::vector<pid_t> parseTaskList(std::string_view text);

/// `listed` without the tasks that are gone, in their order, and then those of
/// `own` that it does not hold yet.
std::vector<pid_t> mergeTasks(const std::vector<pid_t>& listed, const std::vector<pid_t>& own,
                              const std::function<bool(pid_t)>& isAlive);

/// Whether the kernel keeps the list itself.
bool isKernelTaskList(const std::string& path);

/// The message about a list that another process, maybe one of COMMAND's (`own`),
/// has locked: which process, and what to do.
std::string listLockFault(const std::string& path, const std::vector<pid_t>& own);

/// Reads the list again and again. Throws HostError when it cannot be read.
class TaskListReader {
public:
    explicit TaskListReader(const std::string& path);

    /// The tasks listed now.
    std::vector<pid_t> read();

private:
    void reopen();
    [[noreturn]] void fail(const char* doing) const;

    const std::string mPath;
    const bool mIsKernels;
    UniqueFd mFile;
};

/// Keeps a task list that is an ordinary file. Readers may hold it open: it is
/// rewritten in place and never replaced. Several hosts may keep the same list.
class TaskListKeeper {
public:
    /// Throws HostError when the list does not open.
    explicit TaskListKeeper(const std::string& path);

    /// Adds `own` and drops every task that is gone. Throws HostError when the
    /// file cannot be rewritten, or is locked by another for too long.
    void keep(const std::vector<pid_t>& own, int lockLimitMs = kListLockLimitMs);

private:
    bool rewrite(const std::vector<pid_t>& own);

    const std::string mPath;
    UniqueFd mFile;
};

}  // namespace host
