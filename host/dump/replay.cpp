// Puts recorded series through the library's own analysis again.
#include "host/dump/replay.h"

#include "learner/launch_type.h"
#include "learner/orvo_learner.h"

/// The learner's insides, as far as an evaluation reads and writes them. Not
/// analysed: one thread alone has this learner.
class OrvoLearnerPeer {
public:
    OrvoLearnerPeer(std::int32_t type, std::int32_t subtype) {
        mLearner.mLaunchType = type;
        mLearner.mLaunchSubType = subtype;
    }

    void setSeries(const host::PerMetric<host::Series>& series) ORVO_NO_THREAD_SAFETY_ANALYSIS {
        mLearner.mVmRss = series[host::Metric::kVmRss];
        mLearner.mOOMScroe = series[host::Metric::kOomScore];
        mLearner.mFDCount = series[host::Metric::kFdCount];
    }

    host::EvaluationResult evaluate(std::int32_t streak) {
        mLearner.churnForStablizingPoints(0, streak);
        mLearner.clearIntermediates();
        host::EvaluationResult result;
        result.endpointIndices = {{mLearner.mVmRssEp, mLearner.mOOMScroeEp, mLearner.mFDCountEp}};
        result.settledValues = {
            {mLearner.mVmRssYoungest, mLearner.mOOMScroeYoungest, mLearner.mFDCountYoungest}};
        if (mLearner.mEpDecided) result.finalIndex = mLearner.mEpIdx;
        return result;
    }

private:
    OrvoLearner mLearner;
};

namespace host {
namespace {

constexpr std::int32_t kShortLaunchType = 1;
constexpr std::int32_t kDistinctSubtypes[] = {0, 1, -1};

PerMetric<Series> seenBy(const Evaluation& evaluation, const PerMetric<Series>& series) {
    PerMetric<Series> seen;
    for (const Metric metric : kMetrics) {
        const auto samples = static_cast<std::ptrdiff_t>(evaluation.metrics[metric].samples);
        seen[metric].assign(series[metric].begin(), series[metric].begin() + samples);
    }
    return seen;
}

LaunchReplay replayAs(const DumpedLaunch& launch, std::int32_t type, std::int32_t subtype) {
    LaunchReplay result{type, subtype, {}, {}};
    OrvoLearnerPeer learner(type, subtype);
    const std::int32_t streak = type == kLongLaunchType ? kLongLaunchStreak : kShortLaunchStreak;
    bool isDecided = false;
    for (const Evaluation& evaluation : launch.evaluations) {
        result.recorded.push_back(resultOf(evaluation));
        if (isDecided) continue;
        learner.setSeries(seenBy(evaluation, launch.series));
        result.replayed.push_back(learner.evaluate(streak));
        isDecided = result.replayed.back().finalIndex.has_value();
    }
    return result;
}

}  // namespace

bool EvaluationResult::operator==(const EvaluationResult& other) const {
    return endpointIndices.values == other.endpointIndices.values &&
           settledValues.values == other.settledValues.values && finalIndex == other.finalIndex;
}

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
