// Access to the fields of the learner and the store.
#pragma once

#include <string>
#include <vector>

#include "learner/orvo_learner.h"
#include "store/orvo_dblayer.h"

class OrvoLearnerPeer {
public:
    using Series = std::vector<std::int32_t>;

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
    void setSeries(const Series& memory, const Series& oom,
                   const Series& fd) ORVO_NO_THREAD_SAFETY_ANALYSIS {
        l.mVmRss = memory;
        l.mOOMScroe = oom;
        l.mFDCount = fd;
    }
    std::size_t fdCounts() const ORVO_NO_THREAD_SAFETY_ANALYSIS { return l.mFDCount.size(); }
    Series endpoints() const { return {l.mVmRssEp, l.mOOMScroeEp, l.mFDCountEp}; }
    Series youngest() const { return {l.mVmRssYoungest, l.mOOMScroeYoungest, l.mFDCountYoungest}; }
    void setResults(const Series& ep, const Series& young) {
        l.mVmRssEp = ep[0], l.mOOMScroeEp = ep[1], l.mFDCountEp = ep[2];
        l.mVmRssYoungest = young[0], l.mOOMScroeYoungest = young[1], l.mFDCountYoungest = young[2];
    }
    bool isWithoutIntermediates() const {
        return l.VmRssAge.empty() && l.OOMScroeAge.empty() && l.FDCountAge.empty() &&
               l.mVmRssTop12.empty() && l.mOOMScroeTop12.empty() && l.mFDCountTop12.empty() &&
               l.mVmRssFreq.empty() && l.mOOMScroeFreq.empty() && l.mFDCountFreq.empty();
    }
    void takeSample(std::FILE* status, std::FILE* score) { l.takeSample(status, score); }
    void endRunning() { l.mRunning = false; }

private:
    OrvoLearner& l;

public:
    const Series& vmRss = l.mVmRss;
    const Series& oomScore = l.mOOMScroe;
    std::vector<float>& ageTable = l.mAgeTable;
    std::vector<float>& vmRssAge = l.VmRssAge;
    std::vector<float>& oomScoreAge = l.OOMScroeAge;
    std::vector<float>& fdCountAge = l.FDCountAge;
    Series& vmRssTop = l.mVmRssTop12;
    Series& oomScoreTop = l.mOOMScroeTop12;
    Series& fdCountTop = l.mFDCountTop12;
    std::vector<EpTriple>& history = l.mEpHistory;
    std::atomic<bool>& decided = l.mEpDecided;
    std::int32_t& epIdx = l.mEpIdx;
    bool& dumpEnabled = l.mCsvDumpEnabled;
    std::atomic<std::int32_t>& launchEndpoint = l.mLaunchEndpoint;
    std::int32_t& settlingDuration = l.mSettlingDuration;
    HardenedAtomic<bool>& abort = l.mAbort;
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
