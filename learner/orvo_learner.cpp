// The learner's construction, initialisation, reset and shut-down.
#include "learner/orvo_learner.h"

#include <cstring>

#include "learner/log_tag.h"
#include "platform/log.h"
#include "platform/tavo_config.h"
#include "store/orvo_dblayer.h"

namespace {

constexpr char kDumpProperty[] = "debug.vendor.zorv.enable.lm_csv_dump";
constexpr char kEnabled[] = "true";
constexpr std::size_t kPropertyValueMax = 92;  // the platform's bound
constexpr std::int32_t kInitialSettlingMs = 8100;

}  // namespace

OrvoLearner OrvoLearner::mOrvoLearner;

OrvoLearner::OrvoLearner() : mDB(&OrvoDBlayer::mOrvoDB) {}

int OrvoLearner::Init() {
    char value[kPropertyValueMax] = {};
    if (TavoConfigDataStore::mTavoStorage.GetProperty(kDumpProperty, value, sizeof(value)) != 0) {
        mCsvDumpEnabled = std::memcmp(value, kEnabled, sizeof(kEnabled)) == 0;
    }
    mLaunchEndpoint.store(0, std::memory_order_release);
    mSettlingDuration = kInitialSettlingMs;
    mAbort = false;
    return 0;
}

void OrvoLearner::Reset() {
    try {
        mLaunchEndpoint.store(0, std::memory_order_release);
        mAbort = false;
        {
            const std::lock_guard<std::mutex> lock(mStateMutex);
            mStopRequested = false;
        }
        clearAll();
    } catch (...) {
        ORVO_LOG_CAUGHT("Reset");
    }
}

void OrvoLearner::clearAll() {
    const HardeningLock hardening(mDataMutex);
    ORVO_LOGD(3, "clearAll", "clearAll");
    mVmRss.clear();
    mOOMScroe.clear();
    try {
        const std::lock_guard<DataMutex> lock(mDataMutex);
        mFDCount.clear();
    } catch (...) {
        ORVO_LOG_CAUGHT("clearAll");
    }
    mEpHistory.clear();
    clearIntermediates();
    mEpDecided.store(false, std::memory_order_release);
    mEpIdx = 0;
    ORVO_LOGD(3, "clearAll", "cleared");
}

// The youngest values and endpoints stay: the next evaluation overwrites them.
void OrvoLearner::clearIntermediates() {
    ORVO_LOGD(3, "clearIntermediates", "clearIntermediates");
    VmRssAge.clear();
    OOMScroeAge.clear();
    FDCountAge.clear();
    mVmRssTop12.clear();
    mOOMScroeTop12.clear();
    mFDCountTop12.clear();
    mVmRssFreq.clear();
    mOOMScroeFreq.clear();
    mFDCountFreq.clear();
    ORVO_LOGD(3, "clearIntermediates", "Intermediates cleared");
}

void OrvoLearner::DeInit() {
    ORVO_LOGD(3, "DeInit", "DeInit Orvo learner");
    {
        const std::lock_guard<std::mutex> lock(mStateMutex);
        mRunning = false;
        mStopRequested = true;
    }
    // Clears the stop request again at once: a launch under way is not aborted,
    // its thread ends after it. The order is part of the contract.
    Reset();
}
