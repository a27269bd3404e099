// The library's own analysis, on recorded series.
#include "host/dump/analysis.h"

#include <algorithm>

#include "host/dump/learner_peer.h"
#include "learner/launch_type.h"

namespace host {
namespace {

constexpr std::size_t kEvaluationIntervalSamples = 167;  // the learning loop's

SeriesLengths firstOf(const PerMetric<Series>& series, std::size_t samples) {
    SeriesLengths lengths;
    for (const Metric metric : kMetrics)
        lengths[metric] = std::min(series[metric].size(), samples);
    return lengths;
}

PerMetric<std::int32_t> perMetric(const std::vector<std::int32_t>& values) {
    return {{values[0], values[1], values[2]}};
}

}  // namespace

bool EvaluationResult::operator==(const EvaluationResult& other) const {
    return endpointIndices.values == other.endpointIndices.values &&
           settledValues.values == other.settledValues.values && finalIndex == other.finalIndex;
}

std::vector<SeriesLengths> evaluationsOf(const PerMetric<Series>& series, std::int32_t type) {
    const std::size_t samples = series[Metric::kVmRss].size();
    std::vector<SeriesLengths> seen;
    for (std::size_t n = kEvaluationIntervalSamples; type == kLongLaunchType && n <= samples;
         n += kEvaluationIntervalSamples)
        seen.push_back(firstOf(series, n));
    seen.push_back(firstOf(series, SIZE_MAX));
    return seen;
}

Analysis::Analysis(std::int32_t type, std::int32_t subtype)
    : mLearner(std::make_unique<OrvoLearner>()),
      mPeer(std::make_unique<OrvoLearnerPeer>(*mLearner)),
      mStreak(type == kLongLaunchType ? kLongLaunchStreak : kShortLaunchStreak) {
    mPeer->setLaunchType(type, subtype);
}

Analysis::~Analysis() = default;

void Analysis::writeDumpOf(const std::string& package) {
    mPeer->appName = package;
    mPeer->dumpEnabled = true;
}

EvaluationResult Analysis::evaluate(const PerMetric<Series>& series, const SeriesLengths& seen) {
    const auto seenOf = [&](Metric metric) {
        const auto start = series[metric].begin();
        return Series(start, start + static_cast<std::ptrdiff_t>(seen[metric]));
    };
    mPeer->setSeries(seenOf(Metric::kVmRss), seenOf(Metric::kOomScore), seenOf(Metric::kFdCount));
    mLearner->churnForStablizingPoints(0, mStreak);
    if (mPeer->dumpEnabled) mLearner->exportToFile();
    mTopValues = {{mPeer->vmRssTop, mPeer->oomScoreTop, mPeer->fdCountTop}};
    mLearner->clearIntermediates();
    EvaluationResult result{perMetric(mPeer->endpoints()), perMetric(mPeer->settledValues()), {}};
    if (mPeer->decided) result.finalIndex = mPeer->epIdx;
    return result;
}

std::vector<EvaluationResult> Analysis::evaluateUntilDecided(
    const PerMetric<Series>& series, const std::vector<SeriesLengths>& seen) {
    std::vector<EvaluationResult> results;
    for (const SeriesLengths& lengths : seen) {
        results.push_back(evaluate(series, lengths));
        if (results.back().finalIndex) break;
    }
    return results;
}

void Analysis::abort() {
    mLearner->exportToFile("Aborted Before analysis", 0, mPeer->appName.c_str());
}

}  // namespace host
