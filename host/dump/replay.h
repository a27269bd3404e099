// Puts recorded series through the library's own analysis again.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "host/dump/analysis.h"
#include "host/dump/launch.h"

namespace host {

/// What the dump lacks of a launch; what is not given is guessed.
struct ReplayOptions {
    std::optional<std::int32_t> type;
    std::optional<std::int32_t> subtype;
};

/// What was recorded of it.
EvaluationResult resultOf(const Evaluation& recorded);

struct LaunchReplay {
    std::int32_t type = 1;
    std::int32_t subtype = 0;
    std::vector<EvaluationResult> recorded;  ///< none in a launch that was not evaluated
    std::vector<EvaluationResult> replayed;  ///< ends with the one that decides

    bool isEqual() const { return recorded == replayed; }
};

/// Replays each evaluation of `launch` on the samples that it had.
///
/// The type is guessed from the number of samples. The subtype, which matters
/// in long launches alone, is the first of those that differ in their effect
/// (0, 1, -1) with which the results are the recorded ones, or else 0.
LaunchReplay replay(const DumpedLaunch& launch, const ReplayOptions& options);

}  // namespace host
