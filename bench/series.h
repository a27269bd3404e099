// Simulated launches whose settling time is known.
#pragma once

#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "host/library/metric.h"

using host::Metric;

/// One launch's three series, a value every 30 ms.
using LaunchSeries = host::PerMetric<host::Series>;

/// Numbers that are the same on every machine, unlike the standard
/// distributions'.
class Random {
public:
    explicit Random(std::uint32_t seed) : mEngine(seed) {}

    /// From `low` up to, not including, `high`.
    double uniform(double low, double high) {
        return low + (high - low) * (static_cast<double>(mEngine()) * 0x1p-32);
    }
    /// Mean 0, deviation 1, to a good approximation.
    double normal();

private:
    std::mt19937 mEngine;
};

enum class LaunchKind {
    kSteps,           ///< memory grows in steps, and stays
    kRamp,            ///< even growth; a little noise, 0.2 % of the level
    kNoisyRamp,       ///< even growth; noise of 2 %, more than the 1 % tolerance
    kCollectorDrops,  ///< even growth; a collector drops a part now and then, for good
    kDrift,           ///< steps, and then slow growth that counts as settled
    kLate,            ///< steps up to shortly before the last sample
    kAfterWindow,     ///< steps that go on after the window
    kNever,           ///< even growth without end
    kExponential,     ///< ever slower approach; settled within 1 % of its end
    kTwoPlateaus,     ///< even growth with a rest of chance length, longer or shorter than the end
    kSawTooth,        ///< garbage on top of what stays, collected at even intervals; settled
                      ///< when what stays is complete
    kSpikes,          ///< steps; single samples lie higher
    kStepAfter,       ///< steps, settled, and one more step after the window
};

const char* kindName(LaunchKind kind);
constexpr LaunchKind kAllKinds[] = {
    LaunchKind::kSteps,          LaunchKind::kRamp,     LaunchKind::kNoisyRamp,
    LaunchKind::kCollectorDrops, LaunchKind::kDrift,    LaunchKind::kLate,
    LaunchKind::kAfterWindow,    LaunchKind::kNever,    LaunchKind::kExponential,
    LaunchKind::kTwoPlateaus,    LaunchKind::kSawTooth, LaunchKind::kSpikes,
    LaunchKind::kStepAfter};

/// How far chance reaches; the second set is for checking rules that were made
/// while looking at the first.
struct ChanceRanges {
    double earliestShare = 0.15;  ///< of the window: when a launch settles
    double latestShare = 0.7;
    double leastGrowth = 2.0;  ///< the settled level, in starts
    double mostGrowth = 6.0;
    double littleNoise = 0.002;  ///< of the level
    double muchNoise = 0.02;
    double driftPerWindow = 0.05;
    double leastPart = 0.03;  ///< of the level: drops, teeth and spikes
    double mostPart = 0.12;
    int fewestSteps = 3;
    int mostSteps = 10;
};
constexpr ChanceRanges kOtherRanges{0.1, 0.8, 1.3, 10.0, 0.001, 0.03, 0.08, 0.02, 0.2, 2, 15};

/// A launch and the sample index from which it has settled.
struct LabelledLaunch {
    static constexpr double kNeverSettles = std::numeric_limits<double>::infinity();

    std::string name;
    LaunchSeries series;                   ///< of the window
    std::vector<std::int32_t> laterRssKb;  ///< behind it
    double settledAt = kNeverSettles;
};

/// As many samples follow behind the window as are in it.
LabelledLaunch simulateLaunch(LaunchKind kind, std::size_t window, Random& random,
                              const ChanceRanges& ranges = {});
