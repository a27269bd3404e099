// What became of the launches of one package, and what learn prints of them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/learn/tree_growth.h"
#include "host/library/launch_record.h"

namespace host {

struct LaunchResult {
    LaunchOutcome outcome = LaunchOutcome::kUndecided;
    std::optional<std::int32_t> endpointMs;  ///< only of a stored launch
    bool commandEnded = false;               ///< no process of COMMAND was left in the end
    bool changedWhileSampled = false;        ///< the memory of the process that was sampled
    bool countFailed = false;                ///< the store did not count the launch
    std::optional<GrownProcess> otherGrew;   ///< much more than the process that was sampled
    std::string storeFault;                  ///< why either failed, and what to do
};

struct LearnReport {
    std::string package;
    int launchesAsked = 0;
    std::vector<LaunchResult> launches;
    std::optional<std::int32_t> finalEndpointMs;  ///< none while not learned
    int samplesStored = 0;                        ///< towards the final endpoint
    std::string followed;                         ///< the name that was looked for
    bool followedWasSeen = false;                 ///< it is the one that COMMAND showed before
    std::vector<std::string> namesShown;          ///< when that was not found: those there were
};

/// "1200 ms stored", "undecided".
std::string renderResult(const LaunchResult& result);

// Each ends with a newline.
std::string renderText(const LearnReport& report);
std::string renderJson(const LearnReport& report);

/// The exit code for what was reached.
int exitCodeOf(const LearnReport& report, bool interrupted);

}  // namespace host
