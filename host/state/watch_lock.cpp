// Which process watches a state folder: one at a time, and found by others.
#include "host/state/watch_lock.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sys/file.h>

#include "host/base/exit_code.h"

namespace host {
namespace {

pid_t pidIn(int fd) {
    char text[16] = {};
    if (pread(fd, text, sizeof text - 1, 0) < 1) return 0;
    return static_cast<pid_t>(std::strtol(text, nullptr, 10));
}

}  // namespace

WatchLock::WatchLock(const std::string& path)
    : mFile(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644)) {
    if (!mFile.isOpen()) {
        throw HostError(kEnvironment, "cannot write " + path + ": " + std::strerror(errno) +
                                          "; choose a folder with --state");
    }
    if (flock(mFile.get(), LOCK_EX | LOCK_NB) != 0) {
        throw HostError(kEnvironment, "process " + std::to_string(pidIn(mFile.get())) +
                                          " watches this state folder already; end it, or choose "
                                          "another with --state");
    }
    const std::string pid = std::to_string(getpid()) + '\n';
    if (ftruncate(mFile.get(), 0) != 0 ||
        pwrite(mFile.get(), pid.data(), pid.size(), 0) != static_cast<ssize_t>(pid.size())) {
        throw HostError(kEnvironment, "cannot write " + path + ": " + std::strerror(errno));
    }
}

WatchLock::~WatchLock() {
    [[maybe_unused]] const int emptied = ftruncate(mFile.get(), 0);
}

std::optional<pid_t> WatchLock::holder(const std::string& path) {
    const UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.isOpen() || flock(file.get(), LOCK_SH | LOCK_NB) == 0) return std::nullopt;
    const pid_t pid = pidIn(file.get());
    return pid > 0 ? std::optional<pid_t>(pid) : std::nullopt;
}

}  // namespace host
