// Which process watches a state folder: one at a time, and found by others.
#pragma once

#include <optional>
#include <string>
#include <sys/types.h>

#include "host/base/unique_fd.h"

namespace host {

/// Held for the life of the object, or of the process, however that ends. The
/// file stays empty: the kernel knows who holds it.
class WatchLock {
public:
    /// Throws HostError when another process holds it.
    explicit WatchLock(const std::string& path);

    /// The process that holds it now; 0 for one that cannot be seen from here.
    /// To be asked of other processes' locks alone (host/base/record_lock.h).
    static std::optional<pid_t> holder(const std::string& path);

private:
    UniqueFd mFile;
};

}  // namespace host
