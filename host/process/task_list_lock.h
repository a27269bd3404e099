// The lock on a task list that is an ordinary file, which whoever opens the file
// may take too: no wait for it is without a limit.
#pragma once

#include <optional>
#include <sys/types.h>

namespace host {

/// Hosts hold the lock for one rewriting, a fraction of a millisecond.
constexpr int kListLockLimitMs = 1000;

/// Takes the lock; false, with errno, when another has it for too long.
/// Async-signal-safe.
bool lockTaskList(int fd, int limitMs);

void unlockTaskList(int fd);

/// The process that has the lock; nothing when it cannot be seen from here.
/// Throws HostError when the host itself cannot read /proc.
std::optional<pid_t> findListLocker(int fd);

}  // namespace host
