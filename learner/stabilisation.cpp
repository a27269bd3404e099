// One evaluation of the three series, and the decision from all of a launch.
#include <algorithm>

#include "learner/launch_type.h"
#include "learner/log_tag.h"
#include "learner/orvo_learner.h"
#include "platform/log.h"

namespace {

// By design: memory is large and fine-grained, the other two are neither.
constexpr std::int32_t kVmRssTolerancePercent = 1;
constexpr std::int32_t kOomScoreTolerancePercent = 5;
constexpr std::int32_t kFdCountTolerancePercent = 5;
constexpr float kStablePercent = 10.0F;
constexpr std::int32_t kSingleMetricStreak = 5;  // one metric alone decides, whatever the type

std::int32_t stabilityThreshold(std::int32_t launchType, std::int32_t launchSubType) {
    if (launchType != kLongLaunchType || launchSubType < 0) return 1;
    return launchSubType == 0 ? 3 : 4;
}

// Stable comparisons in a row of one metric, and the largest endpoint that a
// stable comparison of the launch has shown.
struct MetricStability {
    std::int32_t count = 0;
    std::int32_t maxEndpoint = 0;

    void compare(std::int32_t previous, std::int32_t current) {
        const float difference = OrvoLearner::calcDiffPercentage(static_cast<float>(previous),
                                                                 static_cast<float>(current));
        if (difference < kStablePercent) {
            ++count;
            maxEndpoint = std::max(maxEndpoint, current);
        } else {
            count = 0;  // the maximum stays
        }
    }
};

}  // namespace

struct OrvoLearner::Stability {
    MetricStability vmRss;
    MetricStability oomScore;
    MetricStability fdCount;

    void compare(const EpTriple& previous, const EpTriple& current) {
        oomScore.compare(previous.oomScore, current.oomScore);
        fdCount.compare(previous.fdCount, current.fdCount);
        vmRss.compare(previous.vmRss, current.vmRss);
    }

    int metricsWithCountFrom(std::int32_t threshold) const {
        return (vmRss.count >= threshold ? 1 : 0) + (oomScore.count >= threshold ? 1 : 0) +
               (fdCount.count >= threshold ? 1 : 0);
    }

    std::int32_t candidate() const {
        return std::max({vmRss.maxEndpoint, oomScore.maxEndpoint, fdCount.maxEndpoint});
    }
};

void OrvoLearner::churnForStablizingPoints(std::int32_t vmRssBias, std::int32_t streak) {
    ORVO_LOGD(3, "churnForStablizingPoints", "vmRssBias=%d, streak=%d\n", vmRssBias, streak);
    if (mEpDecided.load(std::memory_order_acquire)) {
        ORVO_LOGD(3, "churnForStablizingPoints", "mEpDecided Active EndPoint * * * IDX %d * * *\n",
                  mEpIdx);
        return;
    }
    accessDataPtAge(mVmRss, VmRssAge);
    accessDataPtAge(mOOMScroe, OOMScroeAge);
    accessDataPtAge(mFDCount, FDCountAge);

    countFrequentElem(mVmRss, mVmRssFreq);
    countFrequentElem(mOOMScroe, mOOMScroeFreq);
    countFrequentElem(mFDCount, mFDCountFreq);

    topFrequentElem(mVmRssFreq, mVmRssTop12);
    topFrequentElem(mOOMScroeFreq, mOOMScroeTop12);
    topFrequentElem(mFDCountFreq, mFDCountTop12);

    mVmRssYoungest = getYoungest(mVmRssTop12, VmRssAge, mVmRss);
    mOOMScroeYoungest = getYoungest(mOOMScroeTop12, OOMScroeAge, mOOMScroe);
    mFDCountYoungest = getYoungest(mFDCountTop12, FDCountAge, mFDCount);

    mVmRssEp = calculateEndp(mVmRssYoungest, mVmRss, kVmRssTolerancePercent, streak);
    mOOMScroeEp = calculateEndp(mOOMScroeYoungest, mOOMScroe, kOomScoreTolerancePercent, streak);
    mFDCountEp = calculateEndp(mFDCountYoungest, mFDCount, kFdCountTolerancePercent, streak);

    mEpHistory.push_back({mVmRssEp, mOOMScroeEp, mFDCountEp});
    concludeEp(0);
    if (mEpDecided.load(std::memory_order_acquire)) {
        ORVO_LOGD(3, "churnForStablizingPoints", "Final EndPoint * * * IDX %d * * *\n", mEpIdx);
    }
}

void OrvoLearner::concludeEp(std::int32_t) {
    try {
        Stability stability;
        if (mEpHistory.size() == 1 && mLaunchType != kLongLaunchType) {
            concludeSingle();
        } else if (mEpHistory.size() >= 2) {
            concludeHistory(stability);
        }
        concludeByDataUnavailable(stability);
    } catch (...) {
        ORVO_LOG_CAUGHT("concludeEp");
    }
}

void OrvoLearner::concludeSingle() {
    const EpTriple& only = mEpHistory.at(0);
    mEpIdx = std::max({only.vmRss, only.oomScore, only.fdCount});
    if (mEpIdx >= 1) mEpDecided.store(true, std::memory_order_release);
}

// Compares each evaluation with the one before it, up to a decision.
void OrvoLearner::concludeHistory(Stability& stability) {
    for (std::size_t i = 1; i < mEpHistory.size(); ++i) {
        stability.compare(mEpHistory.at(i - 1), mEpHistory.at(i));
        ORVO_LOGD(3, "concludeEp", "avg - ForGame(%d) {%d,%d,%d}  = %s =   Debug info",
                  mLaunchType == kLongLaunchType ? 1 : 0, stability.vmRss.count,
                  stability.oomScore.count, stability.fdCount.count, mAppName.c_str());
        if (!isStable(stability)) continue;
        mEpIdx = stability.candidate();
        if (mEpIdx < 1) continue;
        mEpDecided.store(true, std::memory_order_release);
        return;
    }
}

bool OrvoLearner::isStable(const Stability& stability) const {
    const std::int32_t threshold = stabilityThreshold(mLaunchType, mLaunchSubType);
    if (stability.metricsWithCountFrom(threshold) >= 2) return true;
    if (mLaunchSubType == 0 && stability.metricsWithCountFrom(threshold) >= 1) return true;
    return !mEpDecided.load(std::memory_order_acquire) &&
           stability.metricsWithCountFrom(kSingleMetricStreak) >= 1;
}

// The last comparison found exactly one metric stable: that one decides, except
// for a long launch, which has more evaluations to come.
void OrvoLearner::concludeByDataUnavailable(const Stability& stability) {
    if (mEpIdx > 0 || mLaunchType == kLongLaunchType) return;
    if (stability.metricsWithCountFrom(1) != 1) return;
    mEpIdx = stability.candidate();
    ORVO_LOGE("concludeEp", "Final Ep by dataUnavailable %d\n", mEpIdx);
    if (mEpIdx >= 1) mEpDecided.store(true, std::memory_order_release);
}
