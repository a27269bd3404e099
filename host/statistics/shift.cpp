// The rank-sum test, and the estimate and the interval that belong to it.
#include "host/statistics/shift.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace host {
namespace {

constexpr double kChance = 0.05;
constexpr double kBothSides = 1.959964;  // normal deviations that hold 95 %

// Beyond so many pairs the normal distribution is as good, and far cheaper.
constexpr std::size_t kMostExactPairs = 1600;

/// How probable each number of pairs is in which the one of the first set is the
/// larger, when only chance orders the values.
std::vector<double> pairDistribution(std::size_t first, std::size_t second) {
    // counts[j][u]: orders of i values of the first and j of the second with u
    // such pairs, as a share of all orders.
    std::vector<std::vector<double>> shares(second + 1, std::vector<double>{1.0});
    for (std::size_t i = 1; i <= first; ++i) {
        std::vector<std::vector<double>> next(second + 1);
        next[0] = {1.0};
        for (std::size_t j = 1; j <= second; ++j) {
            // The largest of all is of the first set, and above all j, or it is not.
            const double isOfFirst = static_cast<double>(i) / static_cast<double>(i + j);
            std::vector<double> share(i * j + 1, 0.0);
            for (std::size_t u = 0; u < shares[j].size(); ++u)
                share[u + j] += isOfFirst * shares[j][u];
            for (std::size_t u = 0; u < next[j - 1].size(); ++u)
                share[u] += (1 - isOfFirst) * next[j - 1][u];
            next[j] = std::move(share);
        }
        shares = std::move(next);
    }
    return shares[second];
}

struct Deviation {
    double mean;
    double deviation;
};

/// Of the number of such pairs, equal values taken into account.
Deviation normalOf(const std::vector<double>& earlier, const std::vector<double>& later) {
    const auto m = static_cast<double>(earlier.size());
    const auto n = static_cast<double>(later.size());
    std::map<double, double> ties;
    for (const double value : earlier)
        ++ties[value];
    for (const double value : later)
        ++ties[value];
    double tied = 0;
    for (const auto& [value, count] : ties)
        tied += count * (count * count - 1);
    const double all = m + n;
    return {m * n / 2, std::sqrt(m * n / 12 * (all + 1 - tied / (all * (all - 1))))};
}

double normalTail(double deviations) {
    return std::erfc(deviations / std::sqrt(2.0)) / 2;
}

/// The pairs that may be cut off at either end of the sorted differences.
std::size_t pairsCutOff(std::size_t first, std::size_t second) {
    const std::size_t pairs = first * second;
    if (pairs > kMostExactPairs) {
        const auto m = static_cast<double>(first);
        const auto n = static_cast<double>(second);
        return static_cast<std::size_t>(m * n / 2 -
                                        kBothSides * std::sqrt(m * n * (m + n + 1) / 12));
    }
    const std::vector<double> shares = pairDistribution(first, second);
    double tail = 0;
    std::size_t cut = 0;
    while (cut < pairs && (tail += shares[cut]) <= kChance / 2)
        ++cut;
    return cut;
}

/// Of the number of pairs in which the later one is larger, ties counting half.
double chanceOf(double larger, const std::vector<double>& earlier,
                const std::vector<double>& later) {
    const Deviation normal = normalOf(earlier, later);
    const double away = std::fabs(larger - normal.mean);
    const auto m = static_cast<double>(earlier.size());
    const auto n = static_cast<double>(later.size());
    const bool hasTies = normal.deviation < std::sqrt(m * n * (m + n + 1) / 12) * (1 - 1e-12);
    if (!hasTies && earlier.size() * later.size() <= kMostExactPairs) {
        const std::vector<double> shares = pairDistribution(earlier.size(), later.size());
        double tail = 0;
        for (std::size_t u = 0; static_cast<double>(u) <= normal.mean - away; ++u)
            tail += shares[u];
        return std::min(1.0, 2 * tail);
    }
    if (normal.deviation <= 0) return 1;
    return std::min(1.0, 2 * normalTail((away - 0.5) / normal.deviation));
}

}  // namespace

std::optional<Shift> shiftBetween(const std::vector<double>& earlier,
                                  const std::vector<double>& later) {
    const std::size_t cut = pairsCutOff(earlier.size(), later.size());
    if (earlier.empty() || later.empty() || cut == 0) return std::nullopt;
    std::vector<double> differences;
    double larger = 0;
    for (const double before : earlier) {
        for (const double after : later) {
            differences.push_back(after - before);
            larger += after > before ? 1 : after == before ? 0.5 : 0;
        }
    }
    std::sort(differences.begin(), differences.end());
    return Shift{medianOf(differences),
                 {differences[cut - 1], differences[differences.size() - cut]},
                 chanceOf(larger, earlier, later)};
}

}  // namespace host
