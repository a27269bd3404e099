// A launch that the library has followed, whole.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/learn/tree_growth.h"
#include "host/library/judged_launch.h"
#include "host/library/launch_kind.h"
#include "host/library/launch_record.h"
#include "host/library/series_recorder.h"

namespace host {

/// What became of it.
struct LaunchResult {
    LaunchOutcome outcome = LaunchOutcome::kUndecided;
    std::optional<std::int32_t> endpointMs;  ///< only of a stored launch
    bool commandEnded = false;               ///< no process of COMMAND was left in the end
    bool changedWhileSampled = false;        ///< the memory of the process that was sampled
    bool countFailed = false;                ///< the store did not count the launch
    std::optional<GrownProcess> otherGrew;   ///< much more than the process that was sampled
    std::string storeFault;                  ///< why either failed, and what to do
    Assessment assessment;
    std::optional<JudgedLaunch> judged;  ///< only of a launch that came to an end
};

struct MadeLaunch {
    LaunchResult result;
    RecordedLaunch recorded;
    double startedAtMs = 0;  ///< when the program started, on the steady clock
    std::int64_t launchedAtUnixMs = 0;
    LaunchKind kind;
};

}  // namespace host
