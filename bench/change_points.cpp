// PELT and binary segmentation over sums of squared deviations.
#include "bench/change_points.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr std::size_t kMinSegment = 2;

// Sums over prefixes, from which a segment's cost comes in constant time.
class SquaredDeviations {
public:
    explicit SquaredDeviations(const std::vector<std::int32_t>& values)
        : mSums(values.size() + 1), mSquares(values.size() + 1) {
        // Around the first value, so that the squares keep their precision.
        for (std::size_t i = 0; i < values.size(); ++i) {
            const double value = static_cast<double>(values[i]) - values[0];
            mSums[i + 1] = mSums[i] + value;
            mSquares[i + 1] = mSquares[i] + value * value;
        }
    }

    // Of the values from `begin` up to before `end`.
    double cost(std::size_t begin, std::size_t end) const {
        const double sum = mSums[end] - mSums[begin];
        return mSquares[end] - mSquares[begin] - sum * sum / static_cast<double>(end - begin);
    }

private:
    std::vector<double> mSums;
    std::vector<double> mSquares;
};

struct Split {
    std::size_t at;
    double gain;
};

Split bestSplit(const SquaredDeviations& deviations, std::size_t begin, std::size_t end) {
    Split best{begin, 0.0};
    const double whole = deviations.cost(begin, end);
    for (std::size_t at = begin + kMinSegment; at + kMinSegment <= end; ++at) {
        const double gain = whole - deviations.cost(begin, at) - deviations.cost(at, end);
        if (gain > best.gain) best = {at, gain};
    }
    return best;
}

void splitRange(const SquaredDeviations& deviations, std::size_t begin, std::size_t end,
                double penalty, std::vector<std::size_t>& changes) {
    const Split split = bestSplit(deviations, begin, end);
    if (split.gain <= penalty) return;
    splitRange(deviations, begin, split.at, penalty, changes);
    changes.push_back(split.at);
    splitRange(deviations, split.at, end, penalty, changes);
}

}  // namespace

std::vector<std::size_t> pelt(const std::vector<std::int32_t>& values, double penalty) {
    const std::size_t size = values.size();
    if (size < 2 * kMinSegment) return {};
    const SquaredDeviations deviations(values);
    std::vector<double> bestCost(size + 1, 0.0);
    std::vector<std::size_t> previousChange(size + 1, 0);
    bestCost[0] = -penalty;
    std::vector<std::size_t> candidates{0};
    std::vector<double> costs;
    for (std::size_t end = kMinSegment; end <= size; ++end) {
        costs.clear();
        std::size_t best = 0;
        for (const std::size_t begin : candidates) {
            costs.push_back(bestCost[begin] + deviations.cost(begin, end));
            if (costs.back() < costs[best]) best = costs.size() - 1;
        }
        bestCost[end] = costs[best] + penalty;
        previousChange[end] = candidates[best];
        // A start that is worse by more than a change costs never wins again.
        std::size_t kept = 0;
        for (std::size_t i = 0; i < candidates.size(); ++i) {
            if (costs[i] <= bestCost[end]) candidates[kept++] = candidates[i];
        }
        candidates.resize(kept);
        if (end + 1 >= 2 * kMinSegment) candidates.push_back(end + 1 - kMinSegment);
    }
    std::vector<std::size_t> changes;
    for (std::size_t at = previousChange[size]; at > 0; at = previousChange[at])
        changes.push_back(at);
    std::reverse(changes.begin(), changes.end());
    return changes;
}

std::vector<std::size_t> binarySegmentation(const std::vector<std::int32_t>& values,
                                            double penalty) {
    if (values.empty()) return {};
    std::vector<std::size_t> changes;
    splitRange(SquaredDeviations(values), 0, values.size(), penalty, changes);
    return changes;
}

double bicPenalty(const std::vector<std::int32_t>& values) {
    if (values.size() < 2) return 1.0;
    std::vector<double> steps;
    for (std::size_t i = 1; i < values.size(); ++i)
        steps.push_back(std::fabs(static_cast<double>(values[i]) - values[i - 1]));
    std::nth_element(steps.begin(), steps.begin() + static_cast<std::ptrdiff_t>(steps.size() / 2),
                     steps.end());
    constexpr double kMedianToSigma = 1.4826 / 1.41421356;  // of a difference of two
    // A series without noise still has the kernel's counting in pages.
    const double sigma = std::max(steps[steps.size() / 2] * kMedianToSigma, 4.0);
    return 2.0 * sigma * sigma * std::log(static_cast<double>(values.size()));
}
