// What a running watch costs, as the kernel counts it.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>

namespace host {

/// The units in which the kernel counts for this machine.
struct KernelUnits {
    long ticksPerSecond = 100;
    long pageBytes = 4096;
};

struct WatchCost {
    double cpuMs = 0;
    double ageMs = 0;  ///< since the process was started
    double memoryMb = 0;
};

/// From the text of /proc/PID/stat and the time since the machine's start;
/// nothing for any other text.
std::optional<WatchCost> parseWatchCost(std::string_view stat, double uptimeMs,
                                        const KernelUnits& units);

/// Of the process; nothing when it is gone.
std::optional<WatchCost> readWatchCost(pid_t process);

/// "process 12: 0.42 % of a core over 65.0 s, 9.1 MB of memory"
std::string renderText(pid_t process, const WatchCost& cost);

}  // namespace host
