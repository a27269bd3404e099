// Dispatch of the host's operations to the learner and the store.
#include "feature/orvo_feature.h"

#include <cstring>
#include <exception>
#include <vector>

#include "feature/orvo.h"
#include "learner/fd_info.h"
#include "platform/int32_arithmetic.h"
#include "platform/log.h"

namespace {
constexpr char kLogTag[] = "TAVO-ORVO";
}  // namespace

OrvoFeature& OrvoFeature::getInstance() {
    static OrvoFeature mOrvo;
    return mOrvo;
}

OrvoFeature::~OrvoFeature() {
    DeInit();
}

int OrvoFeature::Init() {
    ORVO_LOGD(3, "Init", "Init Orvo");
    mStore->Init();
    mLearner->Init();
    try {
        // A second initialise ends the process here, by the assignment onto a
        // joinable handle; hosts rely on finding that mistake at once.
        mLearningThread = std::thread(&OrvoLearner::statsCollector, mLearner);
    } catch (const std::exception&) {
        ORVO_LOGE("Init", "Learning thread Creation Failed");
        return -1;
    }
    return 0;
}

int OrvoFeature::DeInit() {
    ORVO_LOGD(3, "DeInit", "DeInit Orvo");
    mLearner->DeInit();
    mStore->DeInit();
    return 0;
}

int OrvoFeature::setData(int op, std::string& appName, void* msg) {
    if (appName.empty()) {
        ORVO_LOGE("setData", "Empty appName!");
        return -1;
    }
    ORVO_LOGD(3, "setData", "App:%s op:%d", appName.c_str(), op);
    switch (op) {
        case ORVO_SET_LAUNCH:
            return launchEvent(appName, msg);
        case ORVO_SET_STOP:
            stopLearning();
            break;
        case ORVO_SET_ERASE:
            eraseLearning(appName);
            break;
        case ORVO_SET_FD_INFO:
            fdInfo(appName, msg);
            break;
        default:
            ORVO_LOGE("setData", "Unsupported op:%d", op);
    }
    return 0;
}

int OrvoFeature::launchEvent(std::string& appName, const void* msg) {
    if (msg == nullptr) {
        ORVO_LOGE("setData", "msg is NULL");
        return -1;
    }
    bool learned = false;
    bool relearn = false;
    const bool known = mStore->checkStatus(appName, true, learned, relearn) == 0;
    if (known && relearn) {
        mStore->eraseLearning(appName);
        ORVO_LOGD(3, "setData", "Erased learning for %s", appName.c_str());
        return 0;
    }
    if (known && learned) return 0;
    // A store that failed does not keep the launch from being learned.
    wakeLearner(appName, msg);
    return 0;
}

void OrvoFeature::wakeLearner(const std::string& appName, const void* msg) {
    ORVO_LOGD(4, "setData", "waking up learning thread for appName:%s", appName.c_str());
    {
        const std::lock_guard<std::mutex> lock(mLearner->mLaunchMutex);
        mLearner->mLaunchPending = true;
        mLearner->mPendingAppName = appName;
        // The host's buffers may be unaligned.
        const auto* fields = static_cast<const char*>(msg);
        std::memcpy(&mLearner->mPendingLaunchType, fields, sizeof(std::int32_t));
        std::memcpy(&mLearner->mPendingLaunchSubType, fields + sizeof(std::int32_t),
                    sizeof(std::int32_t));
    }
    mLearner->mLaunchCond.notify_one();
}

void OrvoFeature::stopLearning() {
    const std::lock_guard<std::mutex> lock(mLearner->mStateMutex);
    ORVO_LOGD(4, "setData", "Stopping learning");
    mLearner->mStopRequested = true;
}

void OrvoFeature::eraseLearning(std::string& appName) {
    // The capital L distinguishes this line from the one that a launch event writes.
    ORVO_LOGD(4, "setData", "Erased Learning for %s", appName.c_str());
    mStore->eraseLearning(appName);
}

void OrvoFeature::fdInfo(const std::string& appName, const void* msg) {
    if (msg == nullptr) return;
    const std::uint16_t count = fdInfoCount(msg);
    ORVO_LOGE("setData", "UPDATE_FD_INFO: FDs Size:%d", count);  // error priority: always shown
    for (int i = 0; i < count; ++i) {
        ORVO_LOGD(4, "setData", "FD info %d[%d]", i, fdInfoEntry(msg, i));
    }
    mLearner->updatesFDCount(msg);
    ORVO_LOGD(4, "setData", "setData appName:%s", appName.c_str());
}

std::int32_t OrvoFeature::getData(int op, std::string& appName, void*) {
    if (appName.empty()) {
        ORVO_LOGE("getData", "Empty appName");  // unlike setData's, without a mark
        return -1;
    }
    ORVO_LOGD(3, "getData", "App:%s op:%d", appName.c_str(), op);
    switch (op) {
        case ORVO_GET_FINAL_ENDPOINT:
            return finalEndpoint(appName);
        case ORVO_GET_SAMPLE_AVERAGE:
            return sampleAverage(appName);
        case ORVO_GET_PID:
            return pidFromMap(appName);
        default:
            ORVO_LOGE("getData", "Unsupported op!");
            return 0;
    }
}

std::int32_t OrvoFeature::finalEndpoint(std::string& appName) {
    bool learned = false;
    bool relearn = false;
    if (mStore->checkStatus(appName, false, learned, relearn) != 0 || !learned) return 0;
    const std::int32_t endpointMs = mStore->getFinalEP(appName);
    return endpointMs >= 1 ? endpointMs : 0;
}

std::int32_t OrvoFeature::sampleAverage(std::string& appName) {
    std::vector<std::int32_t> samples;
    const std::uint64_t count = mStore->getAppSamples(appName, samples);
    if (count == 0) return 0;
    float sum = 0.0F;
    for (const std::int32_t sample : samples) {
        ORVO_LOGD(4, "getData", "sample for %s = %d", appName.c_str(), sample);
        sum += static_cast<float>(sample);
    }
    const float average = sum / static_cast<float>(count);
    return average > 0.0F ? saturatingInt32(average) : 0;
}

std::int32_t OrvoFeature::pidFromMap(std::string& appName) {
    const std::int32_t known = mLearner->getPidFromMap(appName);
    const std::int32_t pid = known > 1 ? known : 1;
    ORVO_LOGE("getData", "PID from Map:%d app:%s", pid, appName.c_str());  // always shown
    return pid;
}
