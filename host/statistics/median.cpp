// Medians, and how far they can be believed.
#include "host/statistics/median.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace host {
namespace {

constexpr double kConfidence = 0.95;

// How probable that many heads are among `count` tossed coins.
double chanceOfHeads(std::size_t heads, std::size_t count) {
    const auto n = static_cast<double>(count);
    const auto k = static_cast<double>(heads);
    return std::exp(std::lgamma(n + 1) - std::lgamma(k + 1) - std::lgamma(n - k + 1) -
                    n * std::log(2.0));
}

}  // namespace

double medianOf(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    if (values.size() % 2 == 1) return *middle;
    return (*std::max_element(values.begin(), middle) + *middle) / 2;
}

std::optional<Interval> medianInterval(std::vector<double> values) {
    const std::size_t count = values.size();
    // Of the interval from the value at `rank`, counted from 0, to its counterpart
    // from the end.
    double wider = 1 - 2 * chanceOfHeads(0, count);
    if (wider < kConfidence) return std::nullopt;
    std::sort(values.begin(), values.end());
    std::size_t rank = 0;
    double narrower = wider - 2 * chanceOfHeads(1, count);
    for (; narrower >= kConfidence; ++rank) {
        wider = narrower;
        narrower -= 2 * chanceOfHeads(rank + 2, count);
    }
    const double share = (wider - kConfidence) / (wider - narrower);
    const auto n = static_cast<double>(count);
    const auto r = static_cast<double>(rank + 1);
    const double inwards = (n - r) * share / (r + (n - 2 * r) * share);
    const auto between = [&](double outer, double inner) {
        return outer + inwards * (inner - outer);
    };
    return Interval{between(values[rank], values[rank + 1]),
                    between(values[count - 1 - rank], values[count - 2 - rank])};
}

int trendOf(const std::vector<double>& values) {
    constexpr double kOneInAHundred = 2.576;  // normal deviations, on both sides
    const auto n = static_cast<double>(values.size());
    double score = 0;
    std::map<double, double> ties;
    for (std::size_t i = 0; i < values.size(); ++i) {
        ++ties[values[i]];
        for (std::size_t j = 0; j < i; ++j)
            score += static_cast<double>(values[j] < values[i]) -
                     static_cast<double>(values[i] < values[j]);
    }
    double variance = n * (n - 1) * (2 * n + 5);
    for (const auto& [value, count] : ties)
        variance -= count * (count - 1) * (2 * count + 5);
    if (variance <= 0 || std::fabs(score) - 1 <= kOneInAHundred * std::sqrt(variance / 18))
        return 0;
    return score > 0 ? 1 : -1;
}

}  // namespace host
