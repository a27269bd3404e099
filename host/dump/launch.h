// A launch as its package's dump records it.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/dump/launch_note.h"
#include "host/library/metric.h"

namespace host {

/// Samples that the learner took itself; descriptor counts come from the host.
inline std::size_t sampleCount(const PerMetric<Series>& series) {
    return std::max(series[Metric::kVmRss].size(), series[Metric::kOomScore].size());
}

/// What one metric came to in one evaluation.
struct MetricResult {
    std::size_t samples = 0;              ///< length of the series at that time
    std::vector<std::int32_t> topValues;  ///< most frequent first, with repeats
    std::int32_t settledValue = 0;
    std::int32_t endpointIndex = 0;  ///< 0 counts as none
};

struct Evaluation {
    PerMetric<MetricResult> metrics;
    std::optional<std::int32_t> finalIndex;  ///< none while undecided

    std::size_t samples() const {
        return std::max(metrics[Metric::kVmRss].samples, metrics[Metric::kOomScore].samples);
    }
};

enum class DumpOutcome {
    kDecided,
    kUndecided,
    kAborted,     ///< stopped, or the process ended early
    kUnfinished,  ///< a long launch without its last evaluation: the host ended
    kCutOff,      ///< what the dump has of it is cut off
};

struct DumpedLaunch {
    std::int64_t number = 0;  ///< in its file, from 1
    std::int64_t line = 0;    ///< where it starts, from 1
    std::int64_t offset = 0;  ///< of its first byte
    DumpOutcome outcome = DumpOutcome::kUndecided;
    PerMetric<Series> series;             ///< whole; each evaluation saw a prefix
    std::vector<Evaluation> evaluations;  ///< several in a long launch, none in an aborted one
    std::optional<LaunchNote> note;       ///< what the host knows beside the dump
    bool isProbing = false;               ///< the library was not told of it

    // Of a launch that was measured; a dump has neither.
    std::vector<std::int32_t> sampledAtMs;  ///< each memory sample, since the program's start
    std::string unevaluated;                ///< why there is no evaluation: a word of the history

    bool hasSamples() const {
        return std::any_of(kMetrics.begin(), kMetrics.end(),
                           [&](Metric metric) { return !series[metric].empty(); });
    }

    std::size_t samples() const { return sampleCount(series); }

    /// Only long launches (type 2) take so many samples.
    bool isLong() const { return samples() > kMostShortSamples; }

    std::int32_t streak() const { return isLong() ? kLongLaunchStreak : kShortLaunchStreak; }

    /// The endpoint's sample index; the time that finding the process took is
    /// not in it, nor anywhere in a dump.
    std::optional<std::int32_t> finalIndex() const {
        return evaluations.empty() ? std::nullopt : evaluations.back().finalIndex;
    }
};

}  // namespace host
