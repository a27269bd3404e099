// The kernel's own cpuset file system, shown to a private root.
#include "host/root/kernel_cpuset.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/base/exit_code.h"

namespace host {
namespace {

constexpr const char* kGroup = "/top-app";
constexpr int kRemoveTries = 50;
constexpr unsigned kRemovePauseUs = 10'000;

[[noreturn]] void fail(const std::string& doing, const std::string& remedy) {
    throw HostError(kEnvironment,
                    "--real-cpuset: cannot " + doing + ": " + std::strerror(errno) + "; " + remedy);
}

std::string firstLine(const std::string& path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

bool writeLine(const std::string& path, const std::string& line) {
    std::ofstream file(path);
    file << line << '\n' << std::flush;
    return file.good();
}

}  // namespace

KernelCpuset::KernelCpuset() {
    if (geteuid() != 0) {
        throw HostError(kEnvironment,
                        "--real-cpuset needs root: run it with sudo, or without "
                        "--real-cpuset as any user");
    }
    char pattern[] = "/tmp/orvo-cpuset-XXXXXX";
    if (mkdtemp(pattern) == nullptr) fail("make a folder in /tmp", "free or mount /tmp");
    mFolder = pattern;
    try {
        mountHere();
        makeGroup();
    } catch (...) {
        release();
        throw;
    }
}

// A hierarchy that is in use already keeps its kind of file names: with the
// prefix "cpuset." on most machines, without it on a device.
void KernelCpuset::mountHere() {
    if (unshare(CLONE_NEWNS) != 0 ||
        mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        fail("make a mount namespace", "run it with CAP_SYS_ADMIN");
    }
    mMounted = mount("none", mFolder.c_str(), "cgroup", 0, "cpuset,noprefix") == 0 ||
               mount("none", mFolder.c_str(), "cgroup", 0, "cpuset") == 0;
    if (!mMounted) {
        fail("mount the version 1 cpuset file system",
             "start the kernel with systemd.unified_cgroup_hierarchy=0, or go without");
    }
}

// A new group has neither processors nor memory, and takes no task so.
void KernelCpuset::makeGroup() {
    const std::string group = mFolder + kGroup;
    mMadeGroup = mkdir(group.c_str(), 0755) == 0;
    if (!mMadeGroup && errno == EEXIST) return;
    if (!mMadeGroup) fail("make the group top-app", "look at /proc/cgroups");
    const std::string prefix = access((mFolder + "/cpus").c_str(), F_OK) == 0 ? "/" : "/cpuset.";
    for (const char* const name : {"cpus", "mems"}) {
        const std::string file = prefix + name;
        if (!writeLine(group + file, firstLine(mFolder + file))) {
            fail("set " + file.substr(1) + " of the group top-app", "look at its parent's value");
        }
    }
}

KernelCpuset::~KernelCpuset() {
    release();
}

void KernelCpuset::release() {
    // The last task may still be on its way out.
    for (int i = 0; mMadeGroup && i < kRemoveTries; ++i) {
        if (rmdir((mFolder + kGroup).c_str()) == 0 || errno != EBUSY) break;
        usleep(kRemovePauseUs);
    }
    if (mMounted) umount2(mFolder.c_str(), MNT_DETACH);
    rmdir(mFolder.c_str());
}

}  // namespace host
