// Access to the fields of the learner and the store.
#pragma once

#include <string>
#include <vector>

#include "learner/orvo_learner.h"
#include "store/orvo_dblayer.h"

class OrvoLearnerPeer {
public:
    explicit OrvoLearnerPeer(OrvoLearner& learner) : l(learner) {}

    /// Hands a launch over, as the launch operation does.
    void launch(const std::string& name, std::int32_t type, std::int32_t subType) {
        const std::lock_guard<std::mutex> lock(l.mLaunchMutex);
        l.mLaunchPending = true;
        l.mPendingAppName = name;
        l.mPendingLaunchType = type;
        l.mPendingLaunchSubType = subType;
    }
    void requestStop() {
        const std::lock_guard<std::mutex> lock(l.mStateMutex);
        l.mStopRequested = true;
    }
    void setLaunchType(std::int32_t type, std::int32_t subType = 0) {
        l.mLaunchType = type;
        l.mLaunchSubType = subType;
    }
    void setSeries(const std::vector<std::int32_t>& memory, const std::vector<std::int32_t>& oom,
                   const std::vector<std::int32_t>& fd) ORVO_NO_THREAD_SAFETY_ANALYSIS {
        l.mVmRss = memory;
        l.mOOMScroe = oom;
        l.mFDCount = fd;
    }
    std::size_t fdCounts() const ORVO_NO_THREAD_SAFETY_ANALYSIS { return l.mFDCount.size(); }
    void takeSample(std::FILE* status, std::FILE* score) { l.takeSample(status, score); }
    void endRunning() { l.mRunning = false; }

private:
    OrvoLearner& l;

public:
    const std::vector<std::int32_t>& vmRss = l.mVmRss;
    const std::vector<std::int32_t>& oomScore = l.mOOMScroe;
    std::vector<float>& ageTable = l.mAgeTable;
    std::vector<float>& vmRssAge = l.VmRssAge;
    std::vector<float>& oomScoreAge = l.OOMScroeAge;
    std::vector<float>& fdCountAge = l.FDCountAge;
    std::vector<std::int32_t>& vmRssTop = l.mVmRssTop12;
    std::vector<std::int32_t>& oomScoreTop = l.mOOMScroeTop12;
    std::vector<std::int32_t>& fdCountTop = l.mFDCountTop12;
    std::int32_t& vmRssYoungest = l.mVmRssYoungest;
    std::int32_t& oomScoreYoungest = l.mOOMScroeYoungest;
    std::int32_t& fdCountYoungest = l.mFDCountYoungest;
    std::int32_t& vmRssEp = l.mVmRssEp;
    std::int32_t& oomScoreEp = l.mOOMScroeEp;
    std::int32_t& fdCountEp = l.mFDCountEp;
    std::unordered_map<std::int32_t, std::int32_t>& vmRssFreq = l.mVmRssFreq;
    std::vector<EpTriple>& history = l.mEpHistory;
    std::atomic<bool>& decided = l.mEpDecided;
    std::int32_t& epIdx = l.mEpIdx;
    bool& dumpEnabled = l.mCsvDumpEnabled;
    std::atomic<std::int32_t>& launchEndpoint = l.mLaunchEndpoint;
    std::int32_t& settlingDuration = l.mSettlingDuration;
    std::string& appName = l.mAppName;
    bool& launchPending = l.mLaunchPending;
    bool& stopRequested = l.mStopRequested;
    std::string& pendingAppName = l.mPendingAppName;
    std::int32_t& pendingType = l.mPendingLaunchType;
    std::int32_t& pendingSubType = l.mPendingLaunchSubType;
    std::mutex& stateMutex = l.mStateMutex;
    std::mutex& pidMapMutex = l.mPidMapMutex;
    DataMutex& dataMutex = l.mDataMutex;
};

class OrvoDBlayerPeer {
public:
    static std::vector<std::uint32_t> handles(const OrvoDBlayer& store) {
        return {store.mStatusHandle, store.mLearningHandle, store.mEpHandle};
    }
};
