// Opens a file that one process at a time writes and may replace by another.
#pragma once

#include <string>

#include "host/base/unique_fd.h"

namespace host {

/// The file that is at `path` (host/base/regular_file.h), created when missing
/// and locked whole until it is closed. `flags` are added to open()'s. Throws
/// HostError, naming the holder, when another process does not let go of it.
UniqueFd openLocked(const std::string& path, int flags);

/// Whether the path leads to the open file.
bool isAt(int fd, const std::string& path);

}  // namespace host
