// Which process watches a state folder: one at a time, and found by others.
#pragma once

#include <optional>
#include <string>
#include <sys/types.h>

#include "host/base/unique_fd.h"

namespace host {

/// Held for the life of the object, or of the process, however that ends.
class WatchLock {
public:
    /// Throws HostError when another process holds it.
    explicit WatchLock(const std::string& path);

    /// Empties the file, or the number would be taken for a watching process's.
    ~WatchLock();
    WatchLock(const WatchLock&) = delete;
    WatchLock& operator=(const WatchLock&) = delete;

    /// The process that holds it now.
    static std::optional<pid_t> holder(const std::string& path);

private:
    UniqueFd mFile;
};

}  // namespace host
