// Locks on parts of a file between processes, by which the holder can be named.
//
// The kernel drops all of a process's locks on a file when the process closes
// any of its descriptors of it, so a process has one descriptor of such a file.
#pragma once

#include <optional>
#include <string>
#include <sys/types.h>

namespace host {

/// Longer than anyone holds a lock for the sake of one write.
constexpr int kLockLimitMs = 5000;

struct ByteRange {
    off_t start = 0;
    off_t length = 0;  ///< 0: to the end, however far that is
};

/// Takes the range, waiting for it for `limitMs` at most. False when another
/// process still holds it; throws HostError, naming `path`, where there is no
/// locking at all. `fd` must be open for writing.
bool takeLock(int fd, const std::string& path, ByteRange range, int limitMs);

void dropLock(int fd, ByteRange range);

/// Another process that holds the range, or a part of it; nothing when none
/// does. 0 for one that cannot be seen from here.
std::optional<pid_t> lockHolder(int fd, ByteRange range);

/// "process 12 (orvo-host)", as far as that can be known.
std::string describeHolder(std::optional<pid_t> holder);

}  // namespace host
