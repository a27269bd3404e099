// A measured launch as its dump would record it.
#include "host/dump/measured_launch.h"

#include <algorithm>

#include "host/dump/analysis.h"
#include "host/library/log_sink.h"

namespace host {
namespace {

Evaluation evaluationOf(Analysis& analysis, const PerMetric<Series>& series,
                        const SeriesLengths& seen) {
    const EvaluationResult result = analysis.evaluate(series, seen);
    Evaluation evaluation;
    evaluation.finalIndex = result.finalIndex;
    for (const Metric metric : kMetrics) {
        evaluation.metrics[metric] = {seen[metric], analysis.topValues()[metric],
                                      result.settledValues[metric], result.endpointIndices[metric]};
    }
    return evaluation;
}

std::vector<Evaluation> evaluationsOf(const MeasuredLaunch& launch, const LaunchKind& kind) {
    const LogPause pause;
    Analysis analysis(kind.type, kind.subtype);
    std::vector<Evaluation> evaluations;
    for (const SeriesLengths& seen : launch.evaluations)
        evaluations.push_back(evaluationOf(analysis, launch.series, seen));
    return evaluations;
}

LaunchNote noteOf(const MeasuredLaunch& launch, const LaunchKind& kind, const Series& memoryKb) {
    LaunchNote note;
    note.launchedAtUnixMs = launch.launchedAtUnixMs;
    note.kind = kind;
    note.windowSamples = samplesOf(windowOf(kind));
    note.samples = memoryKb.size();
    note.fingerprint = fingerprintOf(memoryKb, memoryKb.size());
    const std::size_t timed = std::min(memoryKb.size(), launch.sampledAtMs.size());
    if (timed > 0) {
        note.firstSampleSinceStartMs = launch.sampledAtMs.front();
        note.lastSampleSinceStartMs = launch.sampledAtMs[timed - 1];
    }
    note.lookAfterKb = launch.lookAfterKb;
    note.endpointMs = launch.endpointMs;
    note.assessment = launch.assessment;
    return note;
}

DumpOutcome outcomeOf(const MeasuredLaunch& launch) {
    if (launch.isAborted) return DumpOutcome::kAborted;
    return launch.finalIndex ? DumpOutcome::kDecided : DumpOutcome::kUndecided;
}

}  // namespace

DumpedLaunch dumpedLaunchOf(const MeasuredLaunch& launch, const LaunchKind& kind,
                            std::int64_t number) {
    DumpedLaunch dumped;
    dumped.number = number;
    dumped.outcome = outcomeOf(launch);
    if (launch.evaluations.empty()) {
        dumped.unevaluated = launch.outcome;
        return dumped;
    }
    dumped.evaluations = evaluationsOf(launch, kind);
    dumped.series = launch.series;
    for (const Metric metric : kMetrics)
        dumped.series[metric].resize(launch.evaluations.back()[metric]);
    dumped.sampledAtMs = launch.sampledAtMs;
    dumped.note = noteOf(launch, kind, dumped.series[Metric::kVmRss]);
    return dumped;
}

}  // namespace host
