// Why a launch ended where it did: what the analysis saw, worked out again from
// what the dump holds.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "host/dump/launch.h"

namespace host {

struct CountedValue {
    std::int32_t value;
    std::size_t count;  ///< in the series, as far as the evaluation saw it
};

/// How a metric's settled value was chosen among its most frequent ones.
enum class ValueRule {
    kNone,    ///< nothing was chosen
    kMean,    ///< all are close: half of the smallest and the largest
    kNewest,  ///< they differ: the one met most often in the newest twelfth
};

enum class MetricFinding {
    kNoSamples,
    kNeverNear,        ///< no sample lies near the settled value
    kSteadyFromStart,  ///< near it from the first sample on, so there is no endpoint
    kShortRun,         ///< no run of the required length: the last run that began
    kSettled,
};

struct MetricExplanation {
    std::size_t samples = 0;
    std::vector<CountedValue> frequentValues;  ///< the candidates, most frequent first
    ValueRule rule = ValueRule::kNone;
    std::optional<std::int32_t> settledValue;
    MetricFinding finding = MetricFinding::kNoSamples;
    std::optional<std::int32_t> endpointIndex;
    std::size_t samplesInRun = 0;  ///< near the settled value in a row, from the endpoint on
};

/// An evaluation's endpoint of one metric, compared with the one before.
struct EndpointComparison {
    float differencePercent = 0.0F;  ///< of this evaluation's endpoint
    bool isStable = false;
    std::int32_t stableInARow = 0;
    std::int32_t stableMaximum = 0;  ///< the largest endpoint of a stable comparison so far
};

struct EvaluationExplanation {
    std::size_t samples = 0;
    PerMetric<MetricExplanation> metrics;
    std::optional<PerMetric<EndpointComparison>> comparisons;  ///< none for the first
};

/// What an undecided launch lacks.
enum class Missing {
    kNothing,
    kEvaluation,        ///< it was never evaluated
    kSamples,           ///< no metric has any
    kEndpoint,          ///< no metric has one
    kStableEvaluations  ///< a long launch, evaluated without enough agreement
};

struct LaunchExplanation {
    std::vector<EvaluationExplanation> evaluations;
    std::vector<Metric> setBy;  ///< the last metrics to settle
    Missing missing = Missing::kNothing;
};

LaunchExplanation explain(const DumpedLaunch& launch);

}  // namespace host
