// Age weights of data points, and the most frequent values of a series.
#include <algorithm>
#include <functional>
#include <string>
#include <utility>

#include "learner/launch_type.h"
#include "learner/log_tag.h"
#include "learner/orvo_learner.h"
#include "platform/log.h"

namespace {

constexpr std::size_t kAgeSegments = 12;
constexpr std::size_t kLastSegment = kAgeSegments - 1;
constexpr std::size_t kTopMax = 12;
constexpr float kFrequencyCutOff = 0.75F;  // of the highest count

using CountedValue = std::pair<std::int32_t, std::int32_t>;  // count, value

// The entries with the highest counts, at most 12, highest first; of equal
// counts the larger value first, so that the order is the same with every
// hash map. No later entry can reach the top values: those of a count start
// after all values of higher counts, and 12 fill them.
std::vector<CountedValue> highestCounts(
    const std::unordered_map<std::int32_t, std::int32_t>& freq) {
    std::vector<CountedValue> ranked;
    ranked.reserve(freq.size());
    for (const auto& [value, count] : freq)
        ranked.emplace_back(count, value);
    const std::size_t kept = std::min(ranked.size(), kTopMax);
    const auto keptEnd = ranked.begin() + static_cast<std::ptrdiff_t>(kept);
    std::partial_sort(ranked.begin(), keptEnd, ranked.end(), std::greater<>());
    ranked.resize(kept);
    return ranked;
}

std::string countsText(const std::vector<CountedValue>& ranked, std::size_t walked) {
    std::string text;
    for (std::size_t i = 0; i < walked; ++i)
        text += std::to_string(ranked[i].first) + " ";
    return text;
}

// Appends the values of `count` until `top` is full; returns whether it is.
bool appendValuesOf(std::int32_t count, const std::vector<CountedValue>& ranked,
                    std::vector<std::int32_t>& top) {
    for (const auto& [otherCount, value] : ranked) {
        if (otherCount != count) continue;
        top.push_back(value);
        if (top.size() == kTopMax) return true;
    }
    return false;
}

}  // namespace

void OrvoLearner::accessDataPtAge(const std::vector<std::int32_t>& dataPt,
                                  std::vector<float>& ages) {
    try {
        if (dataPt.empty()) return;
        const std::size_t agingthr = dataPt.size() / kAgeSegments;
        for (std::size_t i = 0; i < dataPt.size(); ++i) {
            std::size_t coffIDx = agingthr == 0 ? 0 : i / agingthr;
            // The remainder of a length that is not a multiple of 12 is newest too.
            if (coffIDx >= mAgeTable.size()) coffIDx = kLastSegment;
            ORVO_LOGD(3, "accessDataPtAge", "agingthr %d, coffIDx %d - age %f iter%d \n",
                      static_cast<int>(agingthr), static_cast<int>(coffIDx),
                      static_cast<double>(mAgeTable.at(coffIDx)), static_cast<int>(i));
            ages.push_back(mAgeTable.at(coffIDx));
        }
    } catch (...) {
        ORVO_LOG_CAUGHT("accessDataPtAge");
    }
}

void OrvoLearner::countFrequentElem(const std::vector<std::int32_t>& data,
                                    std::unordered_map<std::int32_t, std::int32_t>& freq) {
    try {
        for (const std::int32_t value : data)
            ++freq[value];
    } catch (...) {
        ORVO_LOG_CAUGHT("countFrequentElem");
    }
}

void OrvoLearner::topFrequentElem(const std::unordered_map<std::int32_t, std::int32_t>& freq,
                                  std::vector<std::int32_t>& top) {
    try {
        top.clear();
        const std::vector<CountedValue> ranked = highestCounts(freq);
        if (ranked.empty()) return;
        const auto top0 = static_cast<float>(ranked.front().first);
        std::size_t walked = 0;
        bool full = false;
        while (walked < ranked.size() && !full) {
            const std::int32_t count = ranked[walked].first;
            if (mLaunchType != kLongLaunchType &&
                static_cast<float>(count) / top0 < kFrequencyCutOff) {
                ORVO_LOGD(3, "topFrequentElem", "not accumulating further freq now = %d", count);
                break;
            }
            ++walked;
            // A count that several values share is met once for each of them,
            // and each time appends them all: intended, for the cap bites earlier.
            full = appendValuesOf(count, ranked, top);
        }
        ORVO_LOGD(3, "topFrequentElem", "debugTopVals = %s", countsText(ranked, walked).c_str());
    } catch (...) {
        ORVO_LOG_CAUGHT("topFrequentElem");
    }
}
