// Which process watches a state folder: one at a time, and found by others.
#include "host/state/watch_lock.h"

#include "host/base/exit_code.h"
#include "host/base/record_lock.h"
#include "host/base/regular_file.h"

namespace host {
namespace {

constexpr ByteRange kWholeFile;

}  // namespace

WatchLock::WatchLock(const std::string& path) : mFile(openKeptFile(path, O_RDWR | O_CREAT)) {
    if (takeLock(mFile.get(), path, kWholeFile, 0)) return;
    throw HostError(kEnvironment, describeHolder(lockHolder(mFile.get(), kWholeFile)) +
                                      " watches this state folder already; end it, or choose "
                                      "another with --state");
}

std::optional<pid_t> WatchLock::holder(const std::string& path) {
    const UniqueFd file = openKeptFile(path, O_RDONLY);
    if (!file.isOpen()) return std::nullopt;
    return lockHolder(file.get(), kWholeFile);
}

}  // namespace host
