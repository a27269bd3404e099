// What became of the launches of one package, and what learn prints of them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/learn/made_launch.h"
#include "host/learn/probe_sight.h"
#include "host/library/launch_kind.h"

namespace host {

struct LearnReport {
    std::string package;
    int launchesAsked = 0;
    std::optional<LaunchKind> kind;        ///< of the launches; none before it was chosen
    std::optional<LaunchKind> kindBefore;  ///< of launches stored before; none where unknown
    std::optional<ProbeSight> probe;       ///< none without a probing launch
    std::vector<LaunchResult> launches;
    std::optional<std::int32_t> finalEndpointMs;  ///< none while not learned
    int samplesStored = 0;                        ///< towards the final endpoint
    std::string followed;                         ///< the name that was looked for
    bool followedWasSeen = false;                 ///< it is the one that COMMAND showed before
    std::vector<std::string> namesShown;          ///< when that was not found: those there were
    Inheritance inheritance;  ///< of the launches that make the final endpoint, or will
};

/// "840 ms stored, 1043 ms after the start; doubted: still growing", "undecided".
std::string renderResult(const LaunchResult& result);

/// Each ends with a newline.
std::string renderText(const LearnReport& report);
std::string renderJson(const LearnReport& report);

/// The last doubted launch that was stored, of those with an option that helps
/// where there are such; null without any.
const LaunchResult* doubtedLaunch(const LearnReport& report);

/// The exit code for what was reached; `isStrict` minds doubts.
int exitCodeOf(const LearnReport& report, bool interrupted, bool isStrict);

}  // namespace host
