// Two measurements beside each other: is the newer one slower?
#include "host/compare/comparison.h"

#include <algorithm>
#include <cmath>

#include "host/base/exit_code.h"
#include "host/base/printable.h"
#include "host/compare/comparison_warnings.h"
#include "host/state/spread.h"
#include "host/statistics/difference.h"

namespace host {
namespace {

constexpr double kChance = 0.05;  // as seldom as the interval leaves the truth out
constexpr double kWholeMs = 1;    // no value is finer
constexpr double kInPercent = 100;

Interval scaled(const Interval& interval, double factor) {
    return {interval.low * factor, interval.high * factor};
}

void addPercents(Comparison& comparison, double olderMedianMs) {
    if (olderMedianMs <= 0) return;
    const double percent = kInPercent / olderMedianMs;
    comparison.differencePercent = comparison.differenceMs * percent;
    if (!comparison.intervalMs) return;
    comparison.intervalPercent = scaled(*comparison.intervalMs, percent);
    comparison.smallestSeenPercent =
        std::max(comparison.intervalMs->width() / 2, kWholeMs) * percent;
}

Finding findingOf(const Comparison& comparison) {
    if (!comparison.intervalMs) return Finding::kTooFewRuns;
    const bool isChance = *comparison.p >= kChance;
    if (comparison.intervalMs->low > 0 && !isChance) return Finding::kSlower;
    if (comparison.intervalMs->high < 0 && !isChance) return Finding::kFaster;
    return Finding::kNoDifferenceSeen;
}

void refuseWithoutTimes(const MeasurementSummary& summary, const std::string& which) {
    if (summary.medianMs) return;
    const std::string why =
        summary.unsettled.empty() ? "no launches" : printable(unsettledText(summary));
    throw HostError(kNotLearned, "there is nothing to compare: the " + which + " measurement, of " +
                                     printable(summary.measurement->name) + ", has " + why);
}

}  // namespace

MeasurementSummary summaryOf(const Measurement& measurement, TimeBy by) {
    MeasurementSummary summary{};
    summary.measurement = &measurement;
    summary.by = by;
    std::vector<const MeasuredLaunch*> settled;
    for (const MeasuredLaunch& launch : measurement.launches) {
        const std::optional<std::int32_t> timeMs = launch.timeMs(by);
        (timeMs ? settled : summary.unsettled).push_back(&launch);
        if (!timeMs) continue;
        summary.settledMs.push_back(*timeMs);
        if (launch.isDoubted()) summary.doubted.push_back(&launch);
    }
    if (settled.empty()) return summary;
    const Spread spread = spreadOf(summary.settledMs);
    summary.medianMs = spread.medianMs;
    summary.medianIntervalMs = medianInterval(summary.settledMs);
    for (const std::size_t far : spread.farFromRest)
        summary.outliers.push_back(settled[far]);
    summary.trend = trendOf(summary.settledMs);
    return summary;
}

const char* findingWord(Finding finding) {
    switch (finding) {
        case Finding::kSlower:
            return "slower";
        case Finding::kFaster:
            return "faster";
        case Finding::kNoDifferenceSeen:
            return "no difference seen";
        case Finding::kTooFewRuns:
            return "too few runs";
    }
    return "";
}

bool Comparison::isSlowerBy(double percent) const {
    return finding == Finding::kSlower && intervalPercent && intervalPercent->low > percent;
}

Comparison compare(const Measurement& older, const Measurement& newer, TimeBy by) {
    Comparison comparison{};
    comparison.older = summaryOf(older, by);
    comparison.newer = summaryOf(newer, by);
    refuseWithoutTimes(comparison.older, "older");
    refuseWithoutTimes(comparison.newer, "newer");
    comparison.differenceMs = *comparison.newer.medianMs - *comparison.older.medianMs;
    const std::vector<double>& before = comparison.older.settledMs;
    const std::vector<double>& after = comparison.newer.settledMs;
    comparison.intervalMs = medianDifferenceInterval(before, after);
    if (comparison.intervalMs) comparison.p = rankSumP(before, after);
    addPercents(comparison, *comparison.older.medianMs);
    comparison.finding = findingOf(comparison);
    comparison.warnings = warningsOf(comparison.older, comparison.newer);
    return comparison;
}

std::optional<Comparison> byOtherTime(const Comparison& comparison) {
    const TimeBy by =
        comparison.older.by == TimeBy::kEndpoint ? TimeBy::kOpinion : TimeBy::kEndpoint;
    const Measurement& older = *comparison.older.measurement;
    const Measurement& newer = *comparison.newer.measurement;
    if (!summaryOf(older, by).medianMs || !summaryOf(newer, by).medianMs) return std::nullopt;
    return compare(older, newer, by);
}

}  // namespace host
