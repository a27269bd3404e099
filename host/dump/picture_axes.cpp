// What the axes of a picture count: time from where, and in which units.
#include "host/dump/picture_axes.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace host {
namespace {

constexpr double kKbPerMb = 1024;
constexpr double kMsPerSecond = 1000;
constexpr double kLongestAxisInMs = 4000;  // beyond these a person says seconds
constexpr double kLongestTimeInMs = 10'000;

bool knowsStart(const DumpedLaunch* launch) {
    return launch->note && launch->note->firstSampleSinceStartMs &&
           launch->note->lastSampleSinceStartMs;
}

std::string withDecimals(double value, int decimals) {
    char text[64];
    std::snprintf(text, sizeof(text), "%.*f", decimals, value);
    return text;
}

Unit largestUnit(const std::vector<const DumpedLaunch*>& launches, Metric metric) {
    std::int32_t largest = 0;
    for (const DumpedLaunch* const launch : launches) {
        for (const Series* const series :
             {&launch->series[metric], &lookAfterOf(*launch, metric)}) {
            if (!series->empty())
                largest = std::max(largest, *std::max_element(series->begin(), series->end()));
        }
    }
    return unitOf(metric, largest);
}

}  // namespace

const Series& lookAfterOf(const DumpedLaunch& launch, Metric metric) {
    static const Series kNone;
    return metric == Metric::kVmRss && launch.note ? launch.note->lookAfterKb : kNone;
}

Unit unitOf(Metric metric, double largest) {
    if (metric != Metric::kVmRss) return {1, ""};
    return largest < kKbPerMb ? Unit{1, "kB"} : Unit{kKbPerMb, "MB"};
}

std::string valueText(double value, const Unit& unit) {
    const double scaled = unit.of(value);
    const int decimals = unit.size <= 1 || scaled >= 100 ? 0 : scaled >= 10 ? 1 : 2;
    return withDecimals(scaled, decimals) + (*unit.name == 0 ? "" : " ") + unit.name;
}

TimeAxis::TimeAxis(const std::vector<const DumpedLaunch*>& launches)
    : mIsSinceStart(std::all_of(launches.begin(), launches.end(), knowsStart)), mUnit{1, "ms"} {
    const bool showsLookAfter = launches.size() == 1;
    for (const DumpedLaunch* const launch : launches) {
        for (const Metric metric : kMetrics) {
            const std::size_t behind = showsLookAfter ? lookAfterOf(*launch, metric).size() : 0;
            mEndMs = std::max(mEndMs, timeMs(*launch, launch->series[metric].size() + behind));
        }
    }
    if (mEndMs > kLongestAxisInMs) mUnit = {kMsPerSecond, "s"};
}

// The library's period is a little longer than 30 ms, and longer on a busy machine.
double TimeAxis::timeMs(const DumpedLaunch& launch, std::size_t sample) const {
    const auto index = static_cast<double>(sample);
    if (!mIsSinceStart) return index * kSamplePeriodMs;
    if (sample < launch.sampledAtMs.size()) return launch.sampledAtMs[sample];
    const double firstMs = *launch.note->firstSampleSinceStartMs;
    const double lastMs = *launch.note->lastSampleSinceStartMs;
    const auto last = static_cast<double>(std::max<std::size_t>(launch.note->samples, 1) - 1);
    if (index >= last) return lastMs + (index - last) * kSamplePeriodMs;
    // Through the endpoint, whose measured time is printed elsewhere too.
    const std::optional<std::int32_t>& endpointMs = launch.note->assessment.sinceStartMs;
    const double endpoint = launch.finalIndex().value_or(0);
    if (!endpointMs || endpoint <= 0) return firstMs + index * (lastMs - firstMs) / last;
    if (index > endpoint)
        return *endpointMs + (index - endpoint) * (lastMs - *endpointMs) / (last - endpoint);
    return firstMs + index * (*endpointMs - firstMs) / endpoint;
}

std::string TimeAxis::text(double ms) {
    return ms < kLongestTimeInMs ? withDecimals(ms, 0) + " ms"
                                 : withDecimals(ms / kMsPerSecond, 2) + " s";
}

std::string TimeAxis::title() const {
    return std::string(mUnit.name) +
           (mIsSinceStart ? " since the program's start" : " since the first sample");
}

Axes::Axes(const std::vector<const DumpedLaunch*>& launches) : time(launches) {
    for (const Metric metric : kMetrics)
        units[metric] = largestUnit(launches, metric);
}

double niceStep(double length, int most) {
    const double least = std::max(length, 1e-6) / std::max(most, 1);
    const double power = std::pow(10, std::floor(std::log10(least)));
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (factor * power >= least) return factor * power;
    }
    return 10 * power;
}

}  // namespace host
