// How far two sets of values lie apart, and whether chance does as much.
#include "host/statistics/difference.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace host {
namespace {

// Of both sets. Beyond it the normal distribution is as good, and far cheaper.
constexpr std::size_t kMostExactValues = 50;

// All values in their order, as ranks. Equal values share the mean of theirs, so
// ranks are counted in halves, which are whole.
struct Ranks {
    std::vector<std::size_t> halves;
    std::size_t earlierSum = 0;  // of those in the earlier set
    double tied = 0;             // the sum of t³ - t over each t equal values
};

Ranks ranksOf(const std::vector<double>& earlier, const std::vector<double>& later) {
    std::vector<std::pair<double, bool>> all;
    for (const double value : earlier)
        all.emplace_back(value, true);
    for (const double value : later)
        all.emplace_back(value, false);
    std::sort(all.begin(), all.end());
    Ranks ranks;
    for (std::size_t from = 0, to = 0; from < all.size(); from = to) {
        while (to < all.size() && all[to].first == all[from].first)
            ++to;
        for (std::size_t i = from; i < to; ++i) {
            ranks.halves.push_back(from + to + 1);
            if (all[i].second) ranks.earlierSum += from + to + 1;
        }
        const auto equal = static_cast<double>(to - from);
        ranks.tied += equal * equal * equal - equal;
    }
    return ranks;
}

// How many ways there are to choose `count` of the ranks, by their sum.
std::vector<double> waysBySum(const std::vector<std::size_t>& ranks, std::size_t count) {
    std::size_t total = 0;
    for (const std::size_t rank : ranks)
        total += rank;
    std::vector<std::vector<double>> ways(count + 1, std::vector<double>(total + 1, 0.0));
    ways[0][0] = 1;
    for (const std::size_t rank : ranks) {
        for (std::size_t chosen = count; chosen > 0; --chosen) {
            for (std::size_t sum = rank; sum <= total; ++sum)
                ways[chosen][sum] += ways[chosen - 1][sum - rank];
        }
    }
    return ways[count];
}

// The share of the ways whose sum is as far from the mean as this one.
double exactP(const Ranks& ranks, std::size_t count) {
    const std::size_t all = ranks.halves.size();
    const auto awayOf = [&](std::size_t sum) {
        return std::abs(static_cast<long>(sum) - static_cast<long>(count * (all + 1)));
    };
    const std::vector<double> ways = waysBySum(ranks.halves, count);
    double asFar = 0;
    double any = 0;
    for (std::size_t sum = 0; sum < ways.size(); ++sum) {
        any += ways[sum];
        if (awayOf(sum) >= awayOf(ranks.earlierSum)) asFar += ways[sum];
    }
    return asFar / any;
}

double normalP(const Ranks& ranks, std::size_t count) {
    const auto m = static_cast<double>(count);
    const auto all = static_cast<double>(ranks.halves.size());
    const double variance = m * (all - m) / 12 * (all + 1 - ranks.tied / (all * (all - 1)));
    if (variance <= 0) return 1;
    const double away = std::fabs(static_cast<double>(ranks.earlierSum) / 2 - m * (all + 1) / 2);
    // Sums are whole numbers: each stands for half a step to either side.
    return std::erfc(std::max(0.0, away - 0.5) / std::sqrt(2 * variance));
}

}  // namespace

std::optional<Interval> medianDifferenceInterval(const std::vector<double>& earlier,
                                                 const std::vector<double>& later) {
    const std::optional<Interval> before = medianInterval(earlier);
    const std::optional<Interval> after = medianInterval(later);
    if (!before || !after) return std::nullopt;
    const double beforeMedian = medianOf(earlier);
    const double afterMedian = medianOf(later);
    const double middle = afterMedian - beforeMedian;
    return Interval{middle - std::hypot(afterMedian - after->low, before->high - beforeMedian),
                    middle + std::hypot(after->high - afterMedian, beforeMedian - before->low)};
}

double rankSumP(const std::vector<double>& earlier, const std::vector<double>& later) {
    if (earlier.empty() || later.empty()) return 1;
    const Ranks ranks = ranksOf(earlier, later);
    return ranks.halves.size() <= kMostExactValues ? exactP(ranks, earlier.size())
                                                   : normalP(ranks, earlier.size());
}

}  // namespace host
