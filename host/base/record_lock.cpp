// Locks on parts of a file between processes, by which the holder can be named.
#include "host/base/record_lock.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fstream>

#include "host/base/exit_code.h"
#include "host/base/steady_clock.h"

namespace host {
namespace {

constexpr int kRetryMs = 10;

struct flock lockOf(short type, ByteRange range) {
    struct flock lock {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = range.start;
    lock.l_len = range.length;
    return lock;
}

bool tryLock(int fd, const std::string& path, ByteRange range) {
    struct flock lock = lockOf(F_WRLCK, range);
    if (fcntl(fd, F_SETLK, &lock) == 0) return true;
    if (errno == EAGAIN || errno == EACCES || errno == EINTR) return false;
    throw HostError(kEnvironment, "cannot lock " + path + ": " + std::strerror(errno) +
                                      "; choose a folder on another file system with --state");
}

}  // namespace

bool takeLock(int fd, const std::string& path, ByteRange range, int limitMs) {
    const double giveUpMs = steadyMs() + limitMs;
    while (!tryLock(fd, path, range)) {
        if (steadyMs() >= giveUpMs) return false;
        sleepMs(kRetryMs);
    }
    return true;
}

void dropLock(int fd, ByteRange range) {
    struct flock lock = lockOf(F_UNLCK, range);
    fcntl(fd, F_SETLK, &lock);
}

std::optional<pid_t> lockHolder(int fd, ByteRange range) {
    struct flock lock = lockOf(F_WRLCK, range);
    if (fcntl(fd, F_GETLK, &lock) != 0 || lock.l_type == F_UNLCK) return std::nullopt;
    // -1 stands for a lock that belongs to an open file and to no process.
    return lock.l_pid > 0 ? lock.l_pid : 0;
}

std::string describeHolder(std::optional<pid_t> holder) {
    if (holder.value_or(0) <= 0) return "another process";
    const std::string number = std::to_string(*holder);
    std::string name;
    std::getline(std::ifstream("/proc/" + number + "/comm"), name);
    return "process " + number + (name.empty() ? "" : " (" + name + ")");
}

}  // namespace host
