// What learn prints of its launches.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/library/launch_record.h"

namespace host {

struct LaunchResult {
    LaunchOutcome outcome = LaunchOutcome::kUndecided;
    std::optional<std::int32_t> endpointMs;  ///< only of a stored launch
};

struct LearnReport {
    std::string package;
    std::vector<LaunchResult> launches;
    std::optional<std::int32_t> finalEndpointMs;  ///< none while not learned
    int samplesStored = 0;                        ///< towards the final endpoint
    std::string otherName;  ///< the name that COMMAND showed instead of PACKAGE, if it did
};

/// "1200 ms stored", "undecided".
std::string renderResult(const LaunchResult& result);

// Each ends with a newline.
std::string renderText(const LearnReport& report);
std::string renderJson(const LearnReport& report);

}  // namespace host
