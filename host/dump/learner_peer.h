// Access to the learner's fields, for what replays series or looks into a launch.
#pragma once

#include <string>
#include <vector>

#include "learner/orvo_learner.h"

class OrvoLearnerPeer {
public:
    using Series = std::vector<std::int32_t>;

    explicit OrvoLearnerPeer(OrvoLearner& learner) : mLearner(learner) {}

    /// Hands a launch over, as the launch operation does.
    void launch(const std::string& name, std::int32_t type, std::int32_t subType) {
        const std::lock_guard<std::mutex> lock(mLearner.mLaunchMutex);
        mLearner.mLaunchPending = true;
        mLearner.mPendingAppName = name;
        mLearner.mPendingLaunchType = type;
        mLearner.mPendingLaunchSubType = subType;
    }
    void setLaunchType(std::int32_t type, std::int32_t subType = 0) {
        mLearner.mLaunchType = type;
        mLearner.mLaunchSubType = subType;
    }
    void setSeries(const Series& memory, const Series& oom,
                   const Series& fd) ORVO_NO_THREAD_SAFETY_ANALYSIS {
        mLearner.mVmRss = memory;
        mLearner.mOOMScroe = oom;
        mLearner.mFDCount = fd;
    }
    std::size_t fdCounts() const ORVO_NO_THREAD_SAFETY_ANALYSIS { return mLearner.mFDCount.size(); }
    Series endpoints() const {
        return {mLearner.mVmRssEp, mLearner.mOOMScroeEp, mLearner.mFDCountEp};
    }
    Series settledValues() const {
        return {mLearner.mVmRssYoungest, mLearner.mOOMScroeYoungest, mLearner.mFDCountYoungest};
    }
    void takeSample(std::FILE* status, std::FILE* score) { mLearner.takeSample(status, score); }
    /// For a thread that does not hold the lock itself.
    bool isDataLocked() {
        if (!mLearner.mDataMutex.try_lock()) return true;
        mLearner.mDataMutex.unlock();
        return false;
    }
    void endRunning() { mLearner.mRunning = false; }

private:
    OrvoLearner& mLearner;

public:
    const Series& vmRss = mLearner.mVmRss;
    const Series& oomScore = mLearner.mOOMScroe;
    std::vector<float>& ageTable = mLearner.mAgeTable;
    Series& vmRssTop = mLearner.mVmRssTop12;
    Series& oomScoreTop = mLearner.mOOMScroeTop12;
    Series& fdCountTop = mLearner.mFDCountTop12;
    std::vector<EpTriple>& history = mLearner.mEpHistory;
    std::atomic<bool>& decided = mLearner.mEpDecided;
    std::int32_t& epIdx = mLearner.mEpIdx;
    std::int32_t& maxSamples = mLearner.mMaxSamples;
    bool& dumpEnabled = mLearner.mCsvDumpEnabled;
    std::atomic<std::int32_t>& launchEndpoint = mLearner.mLaunchEndpoint;
    std::int32_t& settlingDuration = mLearner.mSettlingDuration;
    HardenedAtomic<bool>& abort = mLearner.mAbort;
    std::string& appName = mLearner.mAppName;
    bool& launchPending = mLearner.mLaunchPending;
    bool& stopRequested = mLearner.mStopRequested;
    std::string& pendingAppName = mLearner.mPendingAppName;
    std::int32_t& pendingType = mLearner.mPendingLaunchType;
    std::int32_t& pendingSubType = mLearner.mPendingLaunchSubType;
    std::mutex& stateMutex = mLearner.mStateMutex;
    std::mutex& pidMapMutex = mLearner.mPidMapMutex;
    DataMutex& dataMutex = mLearner.mDataMutex;
};
