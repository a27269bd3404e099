// The learner's insides, for programs that replay series and time single steps.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "learner/launch_type.h"
#include "learner/orvo_learner.h"

/// One launch's three series, a value every 30 ms.
struct LaunchSeries {
    std::vector<std::int32_t> vmRssKb;
    std::vector<std::int32_t> oomScore;
    std::vector<std::int32_t> fdCount;
};

class OrvoLearnerPeer {
public:
    static constexpr std::int32_t kPeriodMs = 30;

    OrvoLearner& learner() { return mLearner; }

    void setLaunch(std::int32_t type, std::int32_t subType) {
        mLearner.mLaunchType = type;
        mLearner.mLaunchSubType = subType;
    }

    void setSeries(const LaunchSeries& series) {
        mLearner.mVmRss = series.vmRssKb;
        mLearner.mOOMScroe = series.oomScore;
        mLearner.mFDCount = series.fdCount;
    }

    void clearSeries() {
        mLearner.mVmRss.clear();
        mLearner.mOOMScroe.clear();
    }

    void takeSample(std::FILE* status, std::FILE* score) { mLearner.takeSample(status, score); }
    std::int32_t lastVmRssKb() const { return mLearner.mVmRss.back(); }
    std::int32_t lastOomScore() const { return mLearner.mOOMScroe.back(); }

    /// One evaluation, and then all of it forgotten but the series.
    EpTriple evaluateOnce() {
        mLearner.churnForStablizingPoints(0, streak());
        mLearner.clearIntermediates();
        mLearner.mEpHistory.clear();
        mLearner.mEpDecided = false;
        mLearner.mEpIdx = 0;
        return {mLearner.mVmRssEp, mLearner.mOOMScroeEp, mLearner.mFDCountEp};
    }

    /// The endpoint index that a launch with these series ends with, 0 when it
    /// stays undecided: the evaluations of the sampling loop, without its waits.
    std::int32_t replay(const LaunchSeries& series) {
        mLearner.Reset();
        if (mLearner.mLaunchType == kLongLaunchType) {
            for (std::size_t sample = kIntervalSamples; sample <= series.vmRssKb.size();
                 sample += kIntervalSamples) {
                setSeries(prefix(series, sample));
                mLearner.churnForStablizingPoints(0, streak());
                mLearner.clearIntermediates();
                mSamplesSeen = sample;
                if (mLearner.mEpDecided) return mLearner.mEpIdx;
            }
        }
        mSamplesSeen = series.vmRssKb.size();
        setSeries(series);
        mLearner.churnForStablizingPoints(0, streak());
        return mLearner.mEpDecided ? mLearner.mEpIdx : 0;
    }

    /// How many samples the last replay took before it was decided.
    std::size_t samplesSeen() const { return mSamplesSeen; }

private:
    static constexpr std::size_t kIntervalSamples = 167;

    static LaunchSeries prefix(const LaunchSeries& series, std::size_t samples) {
        const auto cut = [samples](const std::vector<std::int32_t>& whole) {
            const auto length = static_cast<std::ptrdiff_t>(std::min(samples, whole.size()));
            return std::vector<std::int32_t>(whole.begin(), whole.begin() + length);
        };
        return {cut(series.vmRssKb), cut(series.oomScore), cut(series.fdCount)};
    }

    std::int32_t streak() const { return mLearner.mLaunchType == kLongLaunchType ? 10 : 5; }

    OrvoLearner mLearner;
    std::size_t mSamplesSeen = 0;
};
