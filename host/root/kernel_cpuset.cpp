// The kernel's own cpuset file system, shown to a private root.
#include "host/root/kernel_cpuset.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sched.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/base/exit_code.h"

namespace host {
namespace {

// For root alone, and gone after the machine's next start, as the group is.
constexpr const char* kFolder = "/run/orvo-cpuset";
constexpr const char* kGroup = "/top-app";
// A file beneath the mount that says that the group was made by a run of ours.
constexpr const char* kMark = "made-top-app";

constexpr int kTries = 100;
constexpr unsigned kPauseUs = 10'000;

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

bool isSameFile(int fd, const std::string& path) {
    struct stat open {};
    struct stat shown {};
    return fstat(fd, &open) == 0 && stat(path.c_str(), &shown) == 0 &&
           open.st_dev == shown.st_dev && open.st_ino == shown.st_ino;
}

bool writeLine(const std::string& path, const std::string& line) {
    std::ofstream file(path);
    file << line << '\n' << std::flush;
    return file.good();
}

}  // namespace

KernelCpuset::KernelCpuset() : mFolder(kFolder) {
    if (geteuid() != 0) {
        throw HostError(kEnvironment,
                        "--real-cpuset needs root: run it with sudo, or without "
                        "--real-cpuset as any user");
    }
    shareFolder();
    try {
        mountHere();
        makeGroup();
    } catch (...) {
        release();
        throw;
    }
}

// A run that ends holds the folder alone for as long as it removes the group.
void KernelCpuset::shareFolder() {
    for (int i = 0; i < kTries; ++i) {
        if (tryFolder()) return;
        usleep(kPauseUs);
    }
    fail("take the folder " + mFolder, "look at what is there, and remove it");
}

bool KernelCpuset::tryFolder() {
    if (mkdir(mFolder.c_str(), 0700) != 0 && errno != EEXIST) return false;
    mBeneath = UniqueFd(open(mFolder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    // The last run may have removed it in between.
    return mBeneath.isOpen() && flock(mBeneath.get(), LOCK_SH | LOCK_NB) == 0 &&
           isSameFile(mBeneath.get(), mFolder);
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

bool KernelCpuset::isOurs() const {
    return faccessat(mBeneath.get(), kMark, F_OK, 0) == 0;
}

// The mark comes first: a run killed in between leaves no group that nobody
// removes.
void KernelCpuset::makeGroup() {
    const std::string group = mFolder + kGroup;
    if (access(group.c_str(), F_OK) != 0) {
        const UniqueFd mark(openat(mBeneath.get(), kMark, O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
        if (!mark.isOpen()) fail("write in " + mFolder, "look at what is there, and remove it");
        if (mkdir(group.c_str(), 0755) != 0 && errno != EEXIST) {
            fail("make the group top-app", "look at /proc/cgroups");
        }
    }
    if (isOurs()) fillGroup();
}

// A new group has neither processors nor memory, and takes no task until it has.
void KernelCpuset::fillGroup() {
    const std::string group = mFolder + kGroup;
    const std::string prefix = access((mFolder + "/cpus").c_str(), F_OK) == 0 ? "/" : "/cpuset.";
    for (const char* const name : {"cpus", "mems"}) {
        const std::string file = prefix + name;
        if (!firstLine(group + file).empty()) continue;
        if (!writeLine(group + file, firstLine(mFolder + file))) {
            fail("set " + file.substr(1) + " of the group top-app", "look at its parent's value");
        }
    }
}

KernelCpuset::~KernelCpuset() {
    release();
}

void KernelCpuset::removeGroup() {
    const std::string group = mFolder + kGroup;
    for (int i = 0; i < kTries; ++i) {
        std::ifstream tasks(group + "/tasks");
        for (std::string task; std::getline(tasks, task);)
            writeLine(mFolder + "/tasks", task);
        if (rmdir(group.c_str()) == 0 || errno != EBUSY) break;
        usleep(kPauseUs);  // the last task may still be on its way out
    }
    if (access(group.c_str(), F_OK) != 0) unlinkat(mBeneath.get(), kMark, 0);
}

void KernelCpuset::release() {
    const bool isLast = flock(mBeneath.get(), LOCK_EX | LOCK_NB) == 0;
    if (isLast && mMounted && isOurs()) removeGroup();
    if (mMounted) umount2(mFolder.c_str(), MNT_DETACH);
    // Only for the last one: where others have it mounted, this would unmount it. It
    // stays, by the mark in it, when the group could not be removed.
    if (isLast) rmdir(mFolder.c_str());
}

}  // namespace host
