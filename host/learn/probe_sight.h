// What is seen of a probing launch, and what is printed of it.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/base/json_fwd.h"
#include "host/library/metric.h"
#include "host/process/process_look.h"
#include "host/verdict/window_choice.h"

namespace host {

/// When the library looks for a launch's process for the first time.
constexpr double kFirstLookMs = 200;

/// The memory of a launch's processes from the library's first look on, so that
/// what was seen of one is there when its name turns out to be the one to follow.
class ProbedMemory {
public:
    /// Looks must come about every 30 ms; those before the first look do not count.
    void take(double sinceReleaseMs, const std::vector<ProcessLook>& tree);

    /// The process that the library would find by the name; none yet.
    std::optional<pid_t> processOf(const std::string& name) const;

    /// A value a period, of a process that was found.
    Series memoryOf(pid_t process) const;

    /// From the launch to the first of them.
    double firstMs(pid_t process) const { return mTracks.at(process).firstMs; }

private:
    struct Track {
        std::string name;
        double firstMs = 0;
        std::int32_t firstKb = 0;
        Series later;
    };

    std::map<pid_t, Track> mTracks;
};

/// What a probing launch came to.
struct ProbeSight {
    WindowChoice choice;
    double firstMs = 0;     ///< from the launch to the first sample
    bool hasEnded = false;  ///< its process was gone before enough was seen
    Series memoryKb{};      ///< what was seen, one value a period
    std::int64_t launchedAtUnixMs = 0;

    /// From the launch on; none where it did not settle.
    std::optional<std::int32_t> settledMs() const;
};

/// "settled after 2520 ms".
std::string findingText(const ProbeSight& sight);

/// "settled after 2520 ms; learning with the extended window (3 s)".
std::string textOf(const ProbeSight& sight);

/// A member of JSON.
Json jsonOf(const ProbeSight& sight);

}  // namespace host
