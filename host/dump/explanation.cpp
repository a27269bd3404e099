// Works out again what the analysis saw, by the library's own measure of
// difference.
#include "host/dump/explanation.h"

#include <algorithm>

#include "learner/orvo_learner.h"

namespace host {
namespace {

float differencePercent(std::int32_t a, std::int32_t b) {
    return OrvoLearner::calcDiffPercentage(static_cast<float>(a), static_cast<float>(b));
}

// --- One metric.

std::vector<CountedValue> countValues(const MetricResult& result, const Series& series) {
    std::vector<CountedValue> counted;
    const auto end = series.begin() + static_cast<std::ptrdiff_t>(result.samples);
    for (const std::int32_t value : result.topValues) {
        const bool isKnown =
            std::any_of(counted.begin(), counted.end(),
                        [&](const CountedValue& one) { return one.value == value; });
        if (isKnown) continue;
        const auto count = std::count(series.begin(), end, value);
        counted.push_back({value, static_cast<std::size_t>(count)});
    }
    return counted;
}

// Whether each is close to the one before; nothing is compared with a 0.
bool areClose(const std::vector<std::int32_t>& values) {
    for (std::size_t i = 1; i < values.size(); ++i) {
        const bool isFar =
            values[i - 1] != 0 && !(differencePercent(values[i], values[i - 1]) <= kClosePercent);
        if (isFar) return false;
    }
    return true;
}

ValueRule ruleOf(const MetricResult& result) {
    if (result.samples == 0) return ValueRule::kNone;
    const std::vector<std::int32_t>& top = result.topValues;
    if (areClose(top)) return ValueRule::kMean;
    return result.settledValue == 0 ? ValueRule::kNone : ValueRule::kNewest;
}

std::size_t samplesInRun(const MetricResult& result, const Series& series, Metric metric) {
    const auto tolerance = static_cast<float>(traitsOf(metric).tolerancePercent);
    auto i = static_cast<std::size_t>(result.endpointIndex);
    std::size_t run = 0;
    for (; i < result.samples && differencePercent(series[i], result.settledValue) < tolerance; ++i)
        ++run;
    return run;
}

MetricFinding findingOf(std::int32_t endpointIndex, std::size_t run, std::int32_t streak) {
    if (run == 0) return MetricFinding::kNeverNear;
    if (run < static_cast<std::size_t>(streak)) return MetricFinding::kShortRun;
    return endpointIndex == 0 ? MetricFinding::kSteadyFromStart : MetricFinding::kSettled;
}

MetricExplanation explainMetric(const MetricResult& result, const Series& series, Metric metric,
                                std::int32_t streak) {
    MetricExplanation explanation;
    explanation.samples = result.samples;
    if (result.samples == 0) return explanation;
    explanation.frequentValues = countValues(result, series);
    explanation.rule = ruleOf(result);
    if (explanation.rule != ValueRule::kNone) explanation.settledValue = result.settledValue;
    explanation.samplesInRun = samplesInRun(result, series, metric);
    explanation.finding = findingOf(result.endpointIndex, explanation.samplesInRun, streak);
    if (explanation.samplesInRun > 0) explanation.endpointIndex = result.endpointIndex;
    return explanation;
}

// --- The evaluations of a launch.

EndpointComparison compare(std::int32_t previous, std::int32_t current,
                           const EndpointComparison& before) {
    EndpointComparison comparison = before;
    comparison.differencePercent = differencePercent(previous, current);
    comparison.isStable = comparison.differencePercent < kClosePercent;
    if (comparison.isStable) {
        ++comparison.stableInARow;
        comparison.stableMaximum = std::max(comparison.stableMaximum, current);
    } else {
        comparison.stableInARow = 0;
    }
    return comparison;
}

PerMetric<EndpointComparison> compareAll(
    const Evaluation& previous, const Evaluation& current,
    const std::optional<PerMetric<EndpointComparison>>& before) {
    PerMetric<EndpointComparison> comparisons = before.value_or(PerMetric<EndpointComparison>());
    for (const Metric metric : kMetrics) {
        comparisons[metric] = compare(previous.metrics[metric].endpointIndex,
                                      current.metrics[metric].endpointIndex, comparisons[metric]);
    }
    return comparisons;
}

std::vector<EvaluationExplanation> explainEvaluations(const DumpedLaunch& launch) {
    std::vector<EvaluationExplanation> explanations;
    for (const Evaluation& evaluation : launch.evaluations) {
        EvaluationExplanation explanation;
        explanation.samples = evaluation.samples();
        for (const Metric metric : kMetrics) {
            explanation.metrics[metric] = explainMetric(
                evaluation.metrics[metric], launch.series[metric], metric, launch.streak());
        }
        if (!explanations.empty()) {
            const Evaluation& previous = launch.evaluations[explanations.size() - 1];
            explanation.comparisons =
                compareAll(previous, evaluation, explanations.back().comparisons);
        }
        explanations.push_back(std::move(explanation));
    }
    return explanations;
}

std::vector<Metric> lastToSettle(const DumpedLaunch& launch,
                                 const EvaluationExplanation& decisive) {
    std::vector<Metric> metrics;
    for (const Metric metric : kMetrics) {
        const std::int32_t endpoint = decisive.comparisons
                                          ? (*decisive.comparisons)[metric].stableMaximum
                                          : launch.evaluations.back().metrics[metric].endpointIndex;
        if (endpoint == launch.finalIndex()) metrics.push_back(metric);
    }
    return metrics;
}

bool hasEndpoint(const Evaluation& evaluation) {
    return std::any_of(kMetrics.begin(), kMetrics.end(),
                       [&](Metric metric) { return evaluation.metrics[metric].endpointIndex > 0; });
}

Missing missingOf(const DumpedLaunch& launch) {
    if (launch.finalIndex()) return Missing::kNothing;
    if (launch.evaluations.empty()) return Missing::kEvaluation;
    if (!launch.hasSamples()) return Missing::kSamples;
    const bool hasAny =
        std::any_of(launch.evaluations.begin(), launch.evaluations.end(), hasEndpoint);
    if (!hasAny) return Missing::kEndpoint;
    return launch.isLong() ? Missing::kStableEvaluations : Missing::kNothing;
}

}  // namespace

LaunchExplanation explain(const DumpedLaunch& launch) {
    LaunchExplanation explanation;
    explanation.evaluations = explainEvaluations(launch);
    explanation.missing = missingOf(launch);
    if (launch.finalIndex()) {
        explanation.setBy = lastToSettle(launch, explanation.evaluations.back());
    }
    return explanation;
}

}  // namespace host
