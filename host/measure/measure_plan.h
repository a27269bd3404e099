// How many launches are measured, and when each program starts.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace host {

struct MeasurePlan {
    int runs = 10;    ///< with `stablePercent` at least
    int warmups = 0;  ///< runs before, which are not kept
    /// Go on until the 95 % interval of the median is narrower than this share of it.
    std::optional<double> stablePercent;
    int mostRuns = 100;  ///< but no further than this
};

enum class MeasureEnd {
    kAllRuns,
    kStable,
    kMostRuns,    ///< not stable by then
    kNoEndpoint,  ///< of one command no run had one, nor will go on to have one
    kCannotGoOn,  ///< its process was not found, or the store failed
    kInterrupted,
};

/// The times of one command's runs that came to an endpoint, in ms.
using SettledTimes = std::vector<double>;

/// Whether measuring ends after that many runs of each command, given what they came to.
std::optional<MeasureEnd> endAfter(int runs, const MeasurePlan& plan,
                                   const std::vector<SettledTimes>& commands);

/// "stable after 12 runs: ..."; empty where it ended as it was asked to.
std::string endText(MeasureEnd end, int runs, const MeasurePlan& plan,
                    const std::vector<SettledTimes>& commands);

/// How long after the library is told of a run the program starts, in ms.
int phaseMs(int run);

/// "run 3/10", "run 12 (at most 100)".
std::string runTitle(int run, const MeasurePlan& plan);

}  // namespace host
