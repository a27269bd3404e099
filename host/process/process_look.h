// What a process shows of itself at one moment.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace host {

struct ProcessLook {
    pid_t pid = 0;
    pid_t parent = 0;           ///< now; an orphan's is the one that adopted it
    std::string name;           ///< as of shownName()
    std::int64_t memoryKb = 0;  ///< RssAnon and VmSwap, which the library samples
};

/// Takes the text of a /proc/PID/status file apart, all but the name; nothing
/// when it is cut off, and for a process whose first thread has ended, which shows no
/// memory.
std::optional<ProcessLook> parseProcessStatus(std::string_view text);

/// Those of the processes that are still there. Throws HostError when the host
/// itself cannot read /proc.
std::vector<ProcessLook> lookAt(const std::set<pid_t>& processes);

}  // namespace host
