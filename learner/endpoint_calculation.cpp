// The value at which a series settles, and the index from which it stays there.
#include <algorithm>
#include <cmath>
#include <string>

#include "learner/log_tag.h"
#include "learner/orvo_learner.h"
#include "platform/int32_arithmetic.h"
#include "platform/log.h"
#include "platform/sec_float.h"

namespace {

constexpr float kClosePercent = 10.0F;

// The difference of a top value from the one before it. After a 0, and for
// the first, it is 0: nothing is divided by zero.
float stepDifference(std::int32_t previous, std::int32_t current) {
    if (previous == 0) return 0.0F;
    return OrvoLearner::calcDiffPercentage(static_cast<float>(current),
                                           static_cast<float>(previous));
}

std::vector<float> stepDifferences(const std::vector<std::int32_t>& top) {
    std::vector<float> differences;
    std::int32_t previous = 0;
    for (const std::int32_t current : top) {
        differences.push_back(stepDifference(previous, current));
        previous = current;
    }
    return differences;
}

std::string diffListText(const std::vector<std::int32_t>& top,
                         const std::vector<float>& differences) {
    std::string text;
    std::int32_t previous = 0;
    for (std::size_t i = 0; i < top.size(); ++i) {
        if (previous == 0) {
            text += "0 ";
        } else {
            text += std::to_string(top[i]) + "-  " + std::to_string(previous) + " = " +
                    std::to_string(differences[i]) + " ";
        }
        previous = top[i];
    }
    return text;
}

// Not-a-number counts as not close.
bool isClose(float difference) {
    return difference <= kClosePercent;
}

// The summed weights of the points that equal `value`, cut to an integer at
// every step: weights below 1 are lost, so in effect this counts the points
// of weight 1, the newest ones. The cut is intended.
std::int32_t ageOf(std::int32_t value, const std::vector<std::int32_t>& dataPt,
                   const std::vector<float>& elemAges) {
    std::int32_t age = 0;
    for (std::size_t j = 0; j < dataPt.size(); ++j) {
        if (dataPt[j] != value) continue;
        age = saturatingInt32(elemAges.at(j) + static_cast<float>(age));
    }
    return age;
}

// Lower bound by halving, in a series that is usually not sorted: there the
// result is whatever position the halving ends at, which std::lower_bound
// does not promise.
std::int32_t halvingLowerBound(const std::vector<std::int32_t>& data, std::int32_t value) {
    std::size_t first = 0;
    std::size_t length = data.size();
    while (length > 0) {
        const std::size_t half = length / 2;
        if (data[first + half] < value) {
            first += half + 1;
            length -= half + 1;
        } else {
            length = half;
        }
    }
    return static_cast<std::int32_t>(first);
}

// The index up to which points are skipped, -1 for none: the peak's, when it
// comes before the target value first occurs and is not that value.
std::int32_t lastSkippedIndex(const std::vector<std::int32_t>& data, std::int32_t target) {
    const auto peak = std::max_element(data.begin(), data.end());
    const auto peakIdx = static_cast<std::int32_t>(peak - data.begin());
    const auto found = std::find(data.begin(), data.end(), target);
    const std::int32_t firstIdx = found != data.end()
                                      ? static_cast<std::int32_t>(found - data.begin())
                                      : halvingLowerBound(data, target);
    // A later first occurrence also means that the peak is not the target.
    return firstIdx > peakIdx ? peakIdx : -1;
}

}  // namespace

float OrvoLearner::calcDiffPercentage(float a, float b) {
    float difference = std::fabs(a - b);
    // By b itself, not its magnitude: below -1 the result is negative.
    if (std::fabs(b) > 1.0F) difference /= b;
    return SecFloat::Multiply(difference, 100.0F);
}

// `top` is by value by contract: its copy fails in the caller, not in here.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
std::int32_t OrvoLearner::getYoungest(std::vector<std::int32_t> top,
                                      const std::vector<float>& elemAges,
                                      const std::vector<std::int32_t>& dataPt) {
    std::int32_t maxAgeElem = 0;
    try {
        if (elemAges.size() != dataPt.size()) {
            ORVO_LOGD(3, "getYoungest", "elemAges.size(%lu) != dataPt.size(%lu)",
                      static_cast<unsigned long>(elemAges.size()),
                      static_cast<unsigned long>(dataPt.size()));
            return 0;
        }
        const std::vector<float> differences = stepDifferences(top);
        ORVO_LOGD(3, "getYoungest", "diffList %s", diffListText(top, differences).c_str());
        if (top.empty()) return 0;
        if (std::all_of(differences.begin(), differences.end(), isClose)) {
            const auto [smallest, largest] = std::minmax_element(top.begin(), top.end());
            ORVO_LOGD(3, "getYoungest", "setMinAsFreq True min  %d\n", *smallest);
            return wrappingAdd(*smallest, *largest) / 2;
        }
        std::int32_t maxAge = 0;
        for (const std::int32_t value : top) {
            const std::int32_t newAge = ageOf(value, dataPt, elemAges);
            ORVO_LOGD(3, "getYoungest",
                      "setMinAsFreq True min  maxAge %d,newAge %d,maxAgeElem %d\n", maxAge, newAge,
                      maxAgeElem);
            if (maxAge < newAge) maxAgeElem = value;
            maxAge = std::max(maxAge, newAge);
        }
    } catch (...) {
        ORVO_LOG_CAUGHT("getYoungest");
    }
    return maxAgeElem;
}

std::int32_t OrvoLearner::calculateEndp(std::int32_t naturalResidency,
                                        const std::vector<std::int32_t>& data,
                                        std::int32_t evalCritera, std::int32_t streak) {
    std::int32_t endpoint = 0;
    try {
        const auto size = static_cast<std::int32_t>(data.size());
        ORVO_LOGD(3, "calculateEndp",
                  "naturalResidency = %d, data_sz = %d, evalCritera = %d, streak = %d\n",
                  naturalResidency, size, evalCritera, streak);
        const std::int32_t startAfter = lastSkippedIndex(data, naturalResidency);
        const auto target = static_cast<float>(naturalResidency);
        const auto tolerance = static_cast<float>(evalCritera);
        std::int32_t run = 0;
        for (std::int32_t i = 0; i < size; ++i) {
            const auto value = static_cast<float>(data[static_cast<std::size_t>(i)]);
            const float difference = calcDiffPercentage(value, target);
            if (i > startAfter && difference < tolerance) {
                // A run too short still leaves its start as the fallback.
                if (run == 0) endpoint = i;
                if (++run >= streak) break;
            } else {
                run = 0;
            }
        }
        ORVO_LOGD(3, "calculateEndp", "naturalResidency %d EndPoint IDX %d\n", naturalResidency,
                  endpoint);
    } catch (...) {
        ORVO_LOG_CAUGHT("calculateEndp");
    }
    return endpoint;
}
