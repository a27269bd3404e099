// What makes two measurements hard to compare.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/compare/comparison.h"

namespace host {

/// "endpoint", "second opinion".
const char* timeName(TimeBy by);

/// How many launches have no time to compare, by what became of them: "3 launches
/// without an endpoint (2 exited early, 1 undecided)".
std::string unsettledText(const MeasurementSummary& summary);

/// "run 3 (1100 ms), run 7 (1240 ms)", the first few with how many more there are.
std::string runsText(const std::vector<const MeasuredLaunch*>& launches,
                     const std::function<std::string(const MeasuredLaunch&)>& what);

/// Other machines, libraries, names and windows, launches without a time, trends and
/// outliers; a sentence each, with words from the files as they are.
std::vector<std::string> warningsOf(const MeasurementSummary& older,
                                    const MeasurementSummary& newer);

}  // namespace host
