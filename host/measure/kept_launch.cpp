// A launch that was made, as results keep it.
#include "host/measure/kept_launch.h"

#include <cmath>

namespace host {
namespace {

std::int32_t rounded(double ms) {
    return static_cast<std::int32_t>(std::lround(ms));
}

void addSamples(MeasuredLaunch& kept, const RecordedLaunch& recorded, double startedAtMs) {
    kept.series = recorded.series;
    kept.evaluations = recorded.evaluations;
    kept.finalIndex = recorded.finalIndex;
    kept.isAborted = recorded.isAborted;
    if (recorded.huntTimeMs) kept.huntTimeMs = rounded(*recorded.huntTimeMs);
    for (const double atMs : recorded.sampledAtMs)
        kept.sampledAtMs.push_back(rounded(atMs - startedAtMs));
}

// Its second opinion counts from the library's first look, as the endpoint does.
Assessment assessmentSinceStart(const MeasuredLaunch& launch) {
    Assessment assessment = launch.assessment;
    if (assessment.secondOpinionMs && !launch.sampledAtMs.empty()) {
        const std::int32_t firstLookMs = launch.sampledAtMs.front() - launch.huntTimeMs.value_or(0);
        assessment.secondOpinionMs = *assessment.secondOpinionMs + firstLookMs;
    }
    assessment.sinceStartMs.reset();
    return assessment;
}

}  // namespace

MeasuredLaunch measuredLaunch(int run, const MadeLaunch& launch) {
    const LaunchResult& result = launch.result;
    MeasuredLaunch kept;
    kept.run = run;
    kept.launchedAtUnixMs = launch.launchedAtUnixMs;
    kept.outcome = outcomeText(result.outcome);
    kept.endpointMs = result.endpointMs;
    kept.assessment = result.assessment;
    addSamples(kept, launch.recorded, launch.startedAtMs);
    if (!result.judged) return kept;
    const SeenLaunch& seen = result.judged->seen;
    kept.lookAfterKb.assign(seen.memoryKb.begin() + static_cast<std::ptrdiff_t>(seen.seen),
                            seen.memoryKb.end());
    return kept;
}

std::string resultText(const MeasuredLaunch& launch) {
    const std::string start = startText(launch.assessment);
    return (start.empty() ? launch.outcome : start) +
           toldText(assessmentSinceStart(launch), launch.settledMs());
}

}  // namespace host
