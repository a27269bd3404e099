// Which process keeps the store locked.
#include "host/state/store_holder.h"

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>
#include <vector>

#include "host/base/file_content.h"
#include "host/base/record_lock.h"
#include "host/base/unique_fd.h"

namespace host {
namespace {

// Where SQLite locks the shared memory of a write-ahead log, of its file format:
// the writer's byte, the checkpointer's and the recoverer's.
constexpr long long kFirstLogLock = 120;
constexpr long long kLastLogLock = 122;

// The library opens the database once for each of its three tables; each time
// SQLite opens that, its log and its shared memory.
constexpr int kDescriptorsNeeded = 9;

struct KernelLock {
    bool isWrite = false;
    int pid = 0;
    FileIdentity file;
    long long first = 0;
    long long last = 0;
};

// "1: POSIX  ADVISORY  WRITE 123 08:01:456 0 EOF". One that waits has "->" before
// its kind and holds nothing.
std::optional<KernelLock> parseLock(const std::string& line) {
    char kind[8];
    char access[8];
    char last[24];
    unsigned major = 0;
    unsigned minor = 0;
    std::uint64_t inode = 0;
    KernelLock lock;
    if (std::sscanf(line.c_str(), "%*d: %7s %*s %7s %d %x:%x:%" SCNu64 " %lld %23s", kind, access,
                    &lock.pid, &major, &minor, &inode, &lock.first, last) != 8 ||
        std::strcmp(kind, "->") == 0) {
        return std::nullopt;
    }
    lock.isWrite = std::strcmp(access, "WRITE") == 0;
    lock.file = {makedev(major, minor), inode};
    lock.last = std::strcmp(last, "EOF") == 0 ? INT64_MAX : std::atoll(last);
    return lock;
}

bool isOn(const KernelLock& lock, const FileIdentity& file) {
    return file.inode != 0 && lock.file.device == file.device && lock.file.inode == file.inode;
}

// SQLite says of these only that a file does not open.
bool areDescriptorsScarce() {
    std::vector<UniqueFd> taken;
    for (int i = 0; i < kDescriptorsNeeded; ++i) {
        taken.emplace_back(open("/", O_PATH | O_CLOEXEC));
        if (!taken.back().isOpen()) return errno == EMFILE || errno == ENFILE;
    }
    return false;
}

FileIdentity identityOf(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) return {};
    return {status.st_dev, status.st_ino};
}

}  // namespace

std::optional<pid_t> writerIn(std::string_view locks, const FileIdentity& database,
                              const FileIdentity& sharedMemory, pid_t self) {
    while (!locks.empty()) {
        const std::size_t end = std::min(locks.find('\n'), locks.size() - 1);
        const std::optional<KernelLock> lock = parseLock(std::string(locks.substr(0, end)));
        locks.remove_prefix(end + 1);
        if (!lock || lock->pid <= 0 || lock->pid == self) continue;
        const bool isWriter = isOn(*lock, database) && lock->isWrite;
        const bool keepsLog =
            isOn(*lock, sharedMemory) && lock->first <= kLastLogLock && lock->last >= kFirstLogLock;
        if (isWriter || keepsLog) return lock->pid;
    }
    return std::nullopt;
}

std::string describeStoreFault(const std::string& error, const std::string& databaseFile,
                               const std::string& remedy) {
    if (error.find("I/O error") != std::string::npos) {
        return error + "; free the disk, and raise the limit of file sizes (ulimit -f)";
    }
    if (error.find("unable to open") != std::string::npos && areDescriptorsScarce()) {
        return error + "; raise the limit of open files (ulimit -n)";
    }
    if (error.find("locked") == std::string::npos) return error + "; " + remedy;
    const std::string locks = contentOf("/proc/locks");
    const std::optional<pid_t> holder =
        writerIn(locks, identityOf(databaseFile), identityOf(databaseFile + "-shm"), getpid());
    return error + " by " + describeHolder(holder) + "; wait for its end, or end it";
}

}  // namespace host
