// Medians: of second differences for the noise, of neighbours for the spikes.
#include "host/verdict/noise.h"

#include <algorithm>
#include <cmath>

namespace host {
namespace {

// How many samples from `begin` on form a spike, 0 for none. The value before
// it holds for two samples before or behind it, and the spike is there at once:
// a collector's tooth is met by one sample at its foot, and rises.
std::size_t spikeAt(const Levels& series, std::size_t begin, std::size_t streak, double reach) {
    const double base = series[begin - 1];
    const double allowed = std::max(reach, kToleranceShare * base);
    const auto isAtBase = [&](std::size_t at) {
        return at < series.size() && std::fabs(series[at] - base) <= allowed;
    };
    const double side = series[begin] > base ? 1.0 : -1.0;
    double nearest = side * (series[begin] - base);
    double farthest = nearest;
    std::size_t end = begin;
    while (end < series.size() && end - begin < streak && !isAtBase(end)) {
        nearest = std::min(nearest, side * (series[end] - base));
        farthest = std::max(farthest, side * (series[end] - base));
        ++end;
    }
    const bool isAtBaseTwice = (begin > 1 && isAtBase(begin - 2)) || isAtBase(end + 1);
    return isAtBase(end) && isAtBaseTwice && nearest > farthest / 3 ? end - begin : 0;
}

// One last sample that leaves a full run says nothing yet: it takes its value.
void dropLoneLast(Levels& series, std::size_t streak, double reach) {
    if (series.size() <= streak) return;
    const auto last = series.end() - 1;
    const auto [low, high] = std::minmax_element(last - static_cast<std::ptrdiff_t>(streak), last);
    const double allowed = std::max(reach, kToleranceShare * *high);
    if (*high - *low <= allowed) *last = *(last - 1);
}

// 0 for none; of an even number the larger of the middle two.
double upperMedianOf(Levels values) {
    if (values.empty()) return 0.0;
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

// From the second differences of samples `lag` apart, in the last half.
double noiseAtLag(const Levels& series, std::size_t lag) {
    // A normal deviation is 1.4826 median magnitudes; a second difference has
    // the variance of six samples (1 + 4 + 1).
    constexpr double kMedianToDeviation = 1.4826 / 2.4495;
    Levels differences;
    for (std::size_t i = std::max(series.size() / 2, lag); i + lag < series.size(); ++i)
        differences.push_back(std::fabs(series[i - lag] - 2 * series[i] + series[i + lag]));
    return upperMedianOf(std::move(differences)) * kMedianToDeviation;
}

}  // namespace

double noiseKb(const Levels& series, std::size_t streak) {
    return std::max({kPageKb, noiseAtLag(series, 1), noiseAtLag(series, streak / 2)});
}

double noiseReach(std::size_t samples) {
    return std::sqrt(2.0 * std::log(std::max(2.0, static_cast<double>(samples))));
}

Levels withoutSpikes(const Levels& series, std::size_t streak, double noise) {
    Levels cleaned = series;
    const double reach = 2 * noiseReach(series.size()) * noise;  // its own and its neighbour's
    for (std::size_t i = 1; i < cleaned.size(); ++i) {
        const std::size_t length = spikeAt(cleaned, i, streak, reach);
        for (std::size_t j = i; j < i + length; ++j)
            cleaned[j] = cleaned[i - 1];
    }
    dropLoneLast(cleaned, streak, reach);
    return cleaned;
}

Levels runningMean(const Levels& series, std::size_t width) {
    Levels sums{0.0};
    for (const double value : series)
        sums.push_back(sums.back() + value);
    const std::size_t taken = std::min(width, series.size());
    Levels means;
    for (std::size_t i = 0; i < series.size(); ++i) {
        const std::size_t from = std::min(i - std::min(i, taken / 2), series.size() - taken);
        means.push_back((sums[from + taken] - sums[from]) / static_cast<double>(taken));
    }
    return means;
}

}  // namespace host
