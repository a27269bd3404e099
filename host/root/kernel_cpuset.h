// The kernel's own cpuset file system, shown to a private root.
#pragma once

#include <string>

#include "host/base/unique_fd.h"

namespace host {

/// Mounts the kernel's cpusets on a folder of its own, in a mount namespace that
/// this process alone has from then on, and makes the group top-app in it.
/// Needs root and a kernel that offers cgroup version 1 cpusets.
///
/// Runs side by side share folder and group; the last one to end removes both.
/// What a killed run left behind is taken over by the next.
class KernelCpuset {
public:
    /// Throws HostError.
    KernelCpuset();

    /// When this is the last run: moves what is left in the group to its parent,
    /// and removes the group, unless it was there before any run, and the folder.
    ~KernelCpuset();
    KernelCpuset(const KernelCpuset&) = delete;
    KernelCpuset& operator=(const KernelCpuset&) = delete;

    const std::string& folder() const { return mFolder; }

private:
    void shareFolder();
    bool tryFolder();
    void mountHere();
    void makeGroup();
    void fillGroup();
    bool isOurs() const;
    void removeGroup();
    void release();

    const std::string mFolder;
    UniqueFd mBeneath;  // the folder itself, beneath the mount, locked by all that use it
    bool mMounted = false;
};

}  // namespace host
