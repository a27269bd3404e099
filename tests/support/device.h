// Made-up launches on a device: child processes, the top-app task list and the
// dump folder of the private root that the tests run in.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <sys/types.h>

#include "host/base/file_content.h"

namespace device {

constexpr char kTasksPath[] = "/dev/cpuset/top-app/tasks";

void setTasks(const std::string& text);
std::string dumpPath(const std::string& appName);
using host::contentOf;
/// What the kernel shows as the task's name, up to its first NUL.
std::string nameOf(pid_t task);
std::ptrdiff_t openDescriptors();  ///< Of this process.

/// A child process, killed and reaped on destruction.
class Child {
public:
    /// A process that shows `name` and never changes. With a pid, which must be free
    /// and needs root, it gets that one or this throws.
    static Child named(const std::string& name, pid_t pid = 0);
    /// A copy of this process that waits for grow().
    static Child growing();

    Child(Child&& other) noexcept;
    Child& operator=(Child&&) = delete;
    ~Child();

    pid_t pid() const { return mPid; }
    void grow(int mebibytes);    ///< Returns when the memory is resident.
    void die(bool reap = true);  ///< Not reaped, it stays behind as a zombie.

private:
    Child() = default;
    Child(pid_t wanted, const std::function<void(int socket)>& program);

    pid_t mPid = -1;
    int mSocket = -1;  // to the child
};

}  // namespace device
