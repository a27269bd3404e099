// Two measurements beside each other: is the newer one slower?
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/results/measurement.h"
#include "host/statistics/median.h"

namespace host {

/// What the launches of one measurement came to.
struct MeasurementSummary {
    const Measurement* measurement;
    TimeBy by;                      ///< which time of each launch counts
    std::vector<double> settledMs;  ///< in the order of the runs, of those that have one
    std::optional<double> medianMs;
    std::optional<Interval> medianIntervalMs;      ///< 95 %; it takes six
    std::vector<const MeasuredLaunch*> unsettled;  ///< left out, for they have no such time
    std::vector<const MeasuredLaunch*> doubted;    ///< of those that have one; not left out
    std::vector<const MeasuredLaunch*> outliers;   ///< far from the rest; not left out
    int trend = 0;                                 ///< later runs took longer (1) or less (-1)
};

/// Of a measurement that outlives it.
MeasurementSummary summaryOf(const Measurement& measurement, TimeBy by = TimeBy::kEndpoint);

enum class Finding { kSlower, kFaster, kNoDifferenceSeen, kTooFewRuns };

/// "slower", "faster", "no difference seen", "too few runs": as JSON has it.
const char* findingWord(Finding finding);

/// Differences are the newer's minus the older's; percents are of the older's median.
struct Comparison {
    MeasurementSummary older;
    MeasurementSummary newer;
    double differenceMs;                        ///< of the medians
    std::optional<Interval> intervalMs;         ///< of it, 95 %; none of too few runs
    std::optional<double> differencePercent;    ///< none where the older median is 0
    std::optional<Interval> intervalPercent;    ///< none where one of the others is none
    std::optional<double> smallestSeenPercent;  ///< a difference that so many runs show
    std::optional<double> p;                    ///< the rank test's; none of too few runs
    Finding finding;
    std::vector<std::string> warnings;  ///< what makes the two hard to compare; sentences

    /// Whether there is a difference, and all of its interval lies beyond `percent`.
    bool isSlowerBy(double percent) const;
    bool isDoubted() const { return !older.doubted.empty() || !newer.doubted.empty(); }
};

/// It is slower or faster when the interval leaves 0 out and the rank test's p is below
/// 0.05. Both measurements must outlive the result. Throws HostError, kNotLearned, when
/// one of them has no launch to compare.
Comparison compare(const Measurement& older, const Measurement& newer,
                   TimeBy by = TimeBy::kEndpoint);

/// The same launches by the other of their times; none when one has no launch to compare.
std::optional<Comparison> byOtherTime(const Comparison& comparison);

}  // namespace host
