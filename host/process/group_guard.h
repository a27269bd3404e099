// Ends a process group when its host is killed.
#pragma once

#include <sys/types.h>

#include "host/base/unique_fd.h"

namespace host {

/// The kernel ends a launched program with its host, but its children only
/// inside a process namespace of the host's. Where there is none, a process of
/// the guard's, which outlives the host, ends them, save those that left their
/// group.
class GroupGuard {
public:
    /// Starts that process. Throws HostError.
    GroupGuard();

    /// Ends it: the group is the host's own concern again.
    ~GroupGuard();
    GroupGuard(const GroupGuard&) = delete;
    GroupGuard& operator=(const GroupGuard&) = delete;

    /// Has `group` ended when this process is killed.
    void guard(pid_t group);

private:
    UniqueFd mHostEnd;
    pid_t mPid = -1;
};

}  // namespace host
