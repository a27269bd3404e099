// The kernel's own cpuset file system, shown to a private root.
#pragma once

#include <string>

namespace host {

/// Mounts the kernel's cpusets on a temporary folder, in a mount namespace that
/// this process alone has from then on, and makes the group top-app in it.
/// Needs root and a kernel that offers cgroup version 1 cpusets.
class KernelCpuset {
public:
    /// Throws HostError.
    KernelCpuset();

    /// Removes the group, when this object made it and it is empty, and the
    /// folder.
    ~KernelCpuset();
    KernelCpuset(const KernelCpuset&) = delete;
    KernelCpuset& operator=(const KernelCpuset&) = delete;

    const std::string& folder() const { return mFolder; }

private:
    void mountHere();
    void makeGroup();
    void release();

    std::string mFolder;
    bool mMounted = false;
    bool mMadeGroup = false;
};

}  // namespace host
