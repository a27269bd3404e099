// What a running watch costs, as the kernel counts it.
#include "host/watch/watch_cost.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iterator>
#include <sstream>
#include <unistd.h>
#include <vector>

#include "host/base/file_content.h"
#include "host/process/proc_file.h"

namespace host {
namespace {

// Counted from the field behind the name, which may hold anything.
enum Field : std::size_t { kUserTicks = 11, kSystemTicks = 12, kStartTicks = 19, kPages = 21 };

double uptimeMs() {
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

}  // namespace

std::optional<WatchCost> parseWatchCost(std::string_view stat, double uptimeMs,
                                        const KernelUnits& units) {
    const std::size_t nameEnd = stat.rfind(')');
    if (nameEnd == std::string_view::npos) return std::nullopt;
    std::istringstream text{std::string(stat.substr(nameEnd + 1))};
    const std::vector<std::string> fields{std::istream_iterator<std::string>(text), {}};
    if (fields.size() <= kPages) return std::nullopt;
    const auto number = [&](Field field) { return std::strtod(fields[field].c_str(), nullptr); };
    const double msPerTick = 1e3 / static_cast<double>(units.ticksPerSecond);
    return WatchCost{(number(kUserTicks) + number(kSystemTicks)) * msPerTick,
                     uptimeMs - number(kStartTicks) * msPerTick,
                     number(kPages) * static_cast<double>(units.pageBytes) / 1e6};
}

std::optional<WatchCost> readWatchCost(pid_t process) {
    const std::string stat = contentOf(procPath(process, "stat"));
    return parseWatchCost(stat, uptimeMs(), {sysconf(_SC_CLK_TCK), sysconf(_SC_PAGESIZE)});
}

std::string renderText(pid_t process, const WatchCost& cost) {
    char text[128];
    std::snprintf(text, sizeof text,
                  "process %d: %.2f %% of a core over %.1f s, %.1f MB of memory\n", process,
                  100 * cost.cpuMs / std::max(cost.ageMs, 1.0), cost.ageMs / 1e3, cost.memoryMb);
    return text;
}

}  // namespace host
