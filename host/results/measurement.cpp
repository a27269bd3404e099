// What measuring a command's launches came to.
#include "host/results/measurement.h"

#include <algorithm>

namespace host {

// It counts as the library's endpoint does, which has the first sample where the hunt
// ended; the samples' own times say when each was taken since the start.
std::optional<std::int32_t> MeasuredLaunch::opinionMs() const {
    if (!assessment.secondOpinionMs || !huntTimeMs || sampledAtMs.empty()) return std::nullopt;
    const std::int64_t behindFirstMs = std::int64_t{*assessment.secondOpinionMs} - *huntTimeMs;
    const auto last = static_cast<std::int64_t>(sampledAtMs.size()) - 1;
    const std::int64_t sample =
        std::max<std::int64_t>(0, behindFirstMs + kSamplePeriodMs / 2) / kSamplePeriodMs;
    const std::int64_t timed = std::min(sample, last);
    return static_cast<std::int32_t>(sampledAtMs[static_cast<std::size_t>(timed)] +
                                     (sample - timed) * kSamplePeriodMs);
}

}  // namespace host
