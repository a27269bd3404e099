// Puts recorded series through the library's own analysis again.
#include "host/dump/replay.h"

#include "learner/launch_type.h"

namespace host {
namespace {

constexpr std::int32_t kShortLaunchType = 1;
constexpr std::int32_t kDistinctSubtypes[] = {0, 1, -1};

SeriesLengths seenBy(const Evaluation& evaluation) {
    SeriesLengths lengths;
    for (const Metric metric : kMetrics)
        lengths[metric] = evaluation.metrics[metric].samples;
    return lengths;
}

LaunchReplay replayAs(const DumpedLaunch& launch, std::int32_t type, std::int32_t subtype) {
    LaunchReplay result{type, subtype, {}, {}};
    std::vector<SeriesLengths> seen;
    for (const Evaluation& evaluation : launch.evaluations) {
        result.recorded.push_back(resultOf(evaluation));
        seen.push_back(seenBy(evaluation));
    }
    result.replayed = Analysis(type, subtype).evaluateUntilDecided(launch.series, seen);
    return result;
}

}  // namespace

EvaluationResult resultOf(const Evaluation& recorded) {
    EvaluationResult result;
    for (const Metric metric : kMetrics) {
        result.endpointIndices[metric] = recorded.metrics[metric].endpointIndex;
        result.settledValues[metric] = recorded.metrics[metric].settledValue;
    }
    result.finalIndex = recorded.finalIndex;
    return result;
}

LaunchReplay replay(const DumpedLaunch& launch, const ReplayOptions& options) {
    const std::int32_t type =
        options.type.value_or(launch.isLong() ? kLongLaunchType : kShortLaunchType);
    LaunchReplay first = replayAs(launch, type, options.subtype.value_or(kDistinctSubtypes[0]));
    if (options.subtype || first.isEqual()) return first;
    for (const std::int32_t subtype : kDistinctSubtypes) {
        LaunchReplay other = replayAs(launch, type, subtype);
        if (other.isEqual()) return other;
    }
    return first;
}

}  // namespace host
