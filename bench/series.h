// Simulated launches whose settling time is known.
#pragma once

#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "bench/learner_peer.h"

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
    kSteps,           // memory grows in steps, and stays
    kRamp,            // even growth; a little noise, 0.2 % of the level
    kNoisyRamp,       // even growth; noise of 2 %, more than the 1 % tolerance
    kCollectorDrops,  // even growth; a collector drops a part now and then, for good
    kDrift,           // steps, and then slow growth that counts as settled
    kLate,            // steps up to shortly before the last sample
    kAfterWindow,     // steps that go on after the last sample
    kNever,           // even growth without end
};

const char* kindName(LaunchKind kind);
constexpr LaunchKind kAllKinds[] = {
    LaunchKind::kSteps, LaunchKind::kRamp, LaunchKind::kNoisyRamp,   LaunchKind::kCollectorDrops,
    LaunchKind::kDrift, LaunchKind::kLate, LaunchKind::kAfterWindow, LaunchKind::kNever};

/// A launch and the sample index from which it has settled.
struct LabelledLaunch {
    static constexpr double kNeverSettles = std::numeric_limits<double>::infinity();

    std::string name;
    LaunchSeries series;
    double settledAt = kNeverSettles;
};

LabelledLaunch simulateLaunch(LaunchKind kind, std::size_t samples, Random& random);
