// The learner's construction, lifecycle and learning loop: one launch from
// wake-up to stored endpoint.
#include "learner/orvo_learner.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <unistd.h>
#include <vector>

#include "learner/launch_type.h"
#include "learner/log_tag.h"
#include "platform/int32_arithmetic.h"
#include "platform/log.h"
#include "platform/sec_float.h"
#include "platform/tavo_config.h"
#include "store/orvo_dblayer.h"

namespace {

constexpr char kDumpProperty[] = "debug.vendor.zorv.enable.lm_csv_dump";
constexpr char kEnabled[] = "true";
constexpr std::size_t kPropertyValueMax = 92;  // the platform's bound
constexpr std::int32_t kInitialSettlingMs = 8100;

using SteadyClock = std::chrono::steady_clock;

constexpr std::int32_t kSamplePeriodMs = 30;
constexpr double kHuntTimeoutMs = 60000.0;
constexpr std::int32_t kLongLaunchStreak = 10;
constexpr std::int32_t kShortLaunchStreak = 5;
constexpr std::int32_t kShortSamples = 34;                // about one second
constexpr std::int32_t kExtendedSamples = 100;            // about three
constexpr std::int32_t kEvaluationIntervalSamples = 167;  // about every five
constexpr std::int32_t kLaunchSettlingMs = 15100;
constexpr std::uint64_t kSamplesPerConclusion = 5;
constexpr std::size_t kPathSize = 128;

double elapsedMs(SteadyClock::time_point since) {
    const std::chrono::nanoseconds elapsed = SteadyClock::now() - since;
    return static_cast<double>(elapsed.count()) / 1'000'000.0;
}

std::int32_t shortSampleBudget(std::int32_t launchSubType) {
    return launchSubType == 1 || launchSubType == 2 ? kExtendedSamples : kShortSamples;
}

void waitSamplePeriod() {
    usleep(static_cast<unsigned int>(SecFloat::Multiply(kSamplePeriodMs, 1000.0F)));
}

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

int OrvoLearner::statsCollector() {
    mRunning = true;
    ORVO_LOGD(3, "statsCollector", "OrvoLearner Thread Started");
    while (mRunning) {
        awaitLaunch();
        try {
            learnLaunch();
        } catch (...) {
            ORVO_LOG_CAUGHT("statsCollector");
        }
    }
    return 0;
}

// Not analysed: std::unique_lock carries no annotations.
void OrvoLearner::awaitLaunch() {
    ORVO_LOGD(4, "statsCollector", "Waiting for Launch Event...");
    {
        std::unique_lock<std::mutex> lock(mLaunchMutex);
        while (!mLaunchPending)
            mLaunchCond.wait(lock);
        mLaunchPending = false;
        mAppName = mPendingAppName;
        mLaunchType = mPendingLaunchType;
        mLaunchSubType = mPendingLaunchSubType;
    }
    // The library's only line at gate 2.
    ORVO_LOGD(2, "statsCollector", "Start Learning appName:%s", mAppName.c_str());
}

void OrvoLearner::learnLaunch() {
    Reset();
    mSettlingDuration = kLaunchSettlingMs;
    ORVO_LOGD(3, "statsCollector", "Settling Duration = %d", mSettlingDuration);

    std::int32_t pid = 0;
    double huntTimeMs = 0.0;
    if (!huntForPid(pid, huntTimeMs)) return;

    const std::int32_t streak =
        mLaunchType == kLongLaunchType ? kLongLaunchStreak : kShortLaunchStreak;
    collectSamples(pid, streak);
    if (mAbort) {
        exportToFile("Aborted Before analysis", 0, mAppName.c_str());
        return;
    }
    concludeLaunch(streak, huntTimeMs);
}

// The time of the first getPid is not part of the hunt time.
bool OrvoLearner::huntForPid(std::int32_t& pid, double& huntTimeMs) {
    pid = getPid(mAppName);
    const SteadyClock::time_point huntStart = SteadyClock::now();
    huntTimeMs = 0.0;
    while (pid < 1) {
        copyStopRequest();
        if (huntTimeMs > kHuntTimeoutMs || mAbort) {
            ORVO_LOGE_AT(820, "statsCollector", "Aborted or timeout - Giving up on hunt");
            ORVO_LOGE_AT(830, "statsCollector", "Could not find pid, can not collect vmrss data");
            return false;
        }
        ORVO_LOGD_AT(3, 823, "statsCollector", "getPid in loop for %s\n", mAppName.c_str());
        pid = getPid(mAppName);
        huntTimeMs = elapsedMs(huntStart);
    }
    huntTimeMs = elapsedMs(huntStart);
    ORVO_LOGD_AT(3, 836, "statsCollector", "actual pid = %d TimeTakenToFind %f ms\n", pid,
                 huntTimeMs);
    return true;
}

// The two streams are not RAII handles: an exception in between leaves them
// open, as the failure contract of a launch has it.
void OrvoLearner::collectSamples(std::int32_t pid, std::int32_t streak) {
    char path[kPathSize] = {};
    std::snprintf(path, sizeof(path), "/proc/%d/status", pid);
    // Both "opened" lines are written whether or not the open succeeds.
    ORVO_LOGD_AT(3, 840, "statsCollector", "VmRSS filePath = %s opened\n", path);
    std::FILE* const statusFile = std::fopen(path, "r");
    std::snprintf(path, sizeof(path), "/proc/%d/oom_score", pid);
    std::FILE* const scoreFile = std::fopen(path, "r");
    ORVO_LOGD_AT(3, 845, "statsCollector", "oom_score filePath = %s opened\n", path);

    const std::int32_t sampleBudget =
        mLaunchType == kLongLaunchType ? mMaxSamples : shortSampleBudget(mLaunchSubType);
    ORVO_LOGD(3, "statsCollector", "Decided Samples = %d. Starting collection ...", sampleBudget);
    if (sampleBudget >= 1) sampleLoop(statusFile, scoreFile, sampleBudget, streak);

    if (statusFile != nullptr) std::fclose(statusFile);
    if (scoreFile != nullptr) std::fclose(scoreFile);
}

void OrvoLearner::sampleLoop(std::FILE* statusFile, std::FILE* scoreFile, std::int32_t sampleBudget,
                             std::int32_t streak) {
    std::int32_t sinceEvaluation = 1;
    const auto samples = static_cast<std::uint32_t>(sampleBudget);
    for (std::uint32_t i = 0; i != samples; ++i) {
        copyStopRequest();
        takeSample(statusFile, scoreFile);
        if (mAbort) {
            ORVO_LOGD(3, "statsCollector", "Abort Detected for %s!", mAppName.c_str());
            return;
        }
        if (mLaunchType == kLongLaunchType && sinceEvaluation >= kEvaluationIntervalSamples) {
            if (evaluatePeriodically(i, streak)) return;
            sinceEvaluation = 0;
        }
        waitSamplePeriod();
        ++sinceEvaluation;
    }
}

bool OrvoLearner::evaluatePeriodically(std::uint32_t sampleIndex, std::int32_t streak) {
    ORVO_LOGD(3, "statsCollector", "Evaluating for datapoint %d\n", static_cast<int>(sampleIndex));
    const std::lock_guard<DataMutex> lock(mDataMutex);
    churnForStablizingPoints(0, streak);
    exportToFile();
    clearIntermediates();
    return mEpDecided.load(std::memory_order_acquire);
}

void OrvoLearner::concludeLaunch(std::int32_t streak, double huntTimeMs) {
    {
        // Unlike the periodic evaluation, this one takes no lock by default.
        const HardeningLock hardening(mDataMutex);
        if (!mEpDecided.load(std::memory_order_acquire)) {
            const std::int32_t bias =
                mLaunchEndpoint.load(std::memory_order_acquire) / kSamplePeriodMs;
            churnForStablizingPoints(bias, streak);
            exportToFile();
        }
        recordEndpoint(huntTimeMs);
    }
    const std::int32_t endpointMs = mLaunchEndpoint.load(std::memory_order_acquire);
    if (endpointMs >= 1) mDB->writeAppSample(mAppName, endpointMs);
    concludePackage();
}

void OrvoLearner::recordEndpoint(double huntTimeMs) {
    if (!mEpDecided.load(std::memory_order_acquire)) {
        ORVO_LOGD(3, "statsCollector", "Launch Endpoint could not determined for %s",
                  mAppName.c_str());
        return;
    }
    mLaunchEndpoint.store(mEpIdx * kSamplePeriodMs, std::memory_order_release);
    mLaunchEndpoint.fetch_add(saturatingInt32(huntTimeMs));
    ORVO_LOGD(3, "statsCollector", "Learned Launch Endpoint for %s = %d", mAppName.c_str(),
              mLaunchEndpoint.load(std::memory_order_acquire));
}

void OrvoLearner::concludePackage() {
    std::vector<std::int32_t> samples;
    // Exactly five: a package with more rows is never concluded.
    if (mDB->getAppSamples(mAppName, samples) != kSamplesPerConclusion) return;
    float sum = 0.0F;
    for (const std::int32_t sample : samples) {
        ORVO_LOGD(4, "statsCollector", "Found sample for %s = %d", mAppName.c_str(), sample);
        sum += static_cast<float>(sample);
    }
    mDB->writeFinalEP(mAppName, saturatingInt32(sum / static_cast<float>(kSamplesPerConclusion)));
    mDB->deleteAppSamples(mAppName);
}

void OrvoLearner::copyStopRequest() {
    const std::lock_guard<std::mutex> lock(mStateMutex);
    mAbort = mStopRequested;
}
