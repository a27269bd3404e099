// The three metrics of a launch, and what the library's analysis asks of each.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace host {

enum class Metric { kVmRss, kOomScore, kFdCount };

constexpr std::size_t kMetricCount = 3;
constexpr std::array<Metric, kMetricCount> kMetrics{Metric::kVmRss, Metric::kOomScore,
                                                    Metric::kFdCount};

/// One value of each metric.
template <typename T>
struct PerMetric {
    std::array<T, kMetricCount> values{};

    constexpr T& operator[](Metric metric) { return values[static_cast<std::size_t>(metric)]; }
    constexpr const T& operator[](Metric metric) const {
        return values[static_cast<std::size_t>(metric)];
    }
};

/// The samples of one metric, in their order.
using Series = std::vector<std::int32_t>;

struct MetricTraits {
    const char* id;        ///< as options name it
    const char* jsonName;  ///< with the unit of its values
    const char* name;      ///< as a person reads it
    const char* unit;      ///< with a leading blank; empty for a plain number
    std::int32_t tolerancePercent;
};

constexpr PerMetric<MetricTraits> kMetricTraits{{{
    {"vmrss", "vmrss_kb", "memory", " kB", 1},
    {"oom", "oom_score", "OOM score", "", 5},
    {"fd", "fd_count", "descriptors", "", 5},
}}};

constexpr const MetricTraits& traitsOf(Metric metric) {
    return kMetricTraits[metric];
}

// The analysis's numbers, as the library has them.
constexpr std::int64_t kSamplePeriodMs = 30;
constexpr std::size_t kMostSamples = 2000;      ///< of a series, and of a long launch
constexpr std::size_t kMostShortSamples = 100;  ///< of any launch that is not long
constexpr std::int32_t kShortLaunchStreak = 5;  ///< samples in a row near the settled value
constexpr std::int32_t kLongLaunchStreak = 10;
constexpr float kClosePercent = 10.0F;           ///< frequent values, and successive endpoints
constexpr std::int32_t kStableForOneMetric = 5;  ///< comparisons in a row, whatever the subtype

/// Stable comparisons in a row that decide a long launch: of two metrics, and
/// with subtype 0 of one.
constexpr std::int32_t stableComparisonsNeeded(std::int32_t subtype) {
    if (subtype < 0) return 1;
    return subtype == 0 ? 3 : 4;
}

constexpr std::int64_t timeMs(std::int64_t sampleIndex) {
    return sampleIndex * kSamplePeriodMs;
}

}  // namespace host
