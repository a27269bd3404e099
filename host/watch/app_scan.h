// Finds newly launched applications among the tasks of the top-app list.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <sys/types.h>
#include <unordered_map>
#include <vector>

#include "host/base/unique_fd.h"

namespace host {

/// An application's process. Its number alone may be reused. Throws HostError
/// when the host itself cannot read /proc.
struct AppProcess {
    std::string package;
    pid_t pid = 0;
    std::uint64_t startTicks = 0;

    /// As far as the library can tell, which reads its name and memory.
    bool isAlive() const;
};

/// A process is a launch when it first shows a name that looks like a package's
/// and that is not its parent's; it is a launch once in its life, however often
/// it leaves the list and comes back.
///
/// One descriptor per listed process is held on its name: it costs a fifth of
/// opening the file again, and it stays with the process when the number goes
/// to another one.
class AppScan {
public:
    /// Packages that are running now are not launches.
    AppScan();

    /// The launches among `tasks`, the list's present content, since the last
    /// look; to be called every few tens of ms. Throws HostError when the host
    /// itself cannot read /proc.
    std::vector<AppProcess> look(const std::vector<pid_t>& tasks);

private:
    struct Known {
        std::uint64_t startTicks = 0;
        bool isLaunched = false;
        std::string name;
        UniqueFd nameFile;  // open while listed
        std::uint64_t joinedAtLook = 0;
        std::uint64_t listedAtLook = 0;
    };

    pid_t processOf(pid_t task);
    std::optional<AppProcess> lookAt(pid_t process);
    bool isDue(pid_t process, const Known& known) const;
    bool identify(pid_t process, Known& known);
    static bool takesName(pid_t process, Known& known, const std::string& name);
    void letGo();

    std::uint64_t mLook = 0;
    std::unordered_map<pid_t, Known> mKnown;
    std::unordered_map<pid_t, pid_t> mProcessOfThread;
};

}  // namespace host
