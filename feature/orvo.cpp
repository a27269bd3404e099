// The exported functions.
#include "feature/orvo.h"

#include "feature/orvo_feature.h"
#include "platform/log.h"

namespace {

constexpr char kLogTag[] = "TAVO-ORVO";

std::int32_t dispatchSet(int op, std::string& appName, void* msg) {
    OrvoFeature& feature = OrvoFeature::getInstance();
    if (op == ORVO_SET_INIT) return feature.Init();
    if (op == ORVO_SET_DEINIT) {
        feature.DeInit();
    } else {
        // What the facade refuses is in the log; hosts have always been told 0.
        feature.setData(op, appName, msg);
    }
    return 0;
}

}  // namespace

std::int32_t setData(int op, std::string& appName, void* msg) {
    try {
        return dispatchSet(op, appName, msg);
    } catch (...) {
        ORVO_LOG_CAUGHT("setData");
        return op == ORVO_SET_INIT ? -1 : 0;
    }
}

std::int32_t getData(int op, std::string& appName) {
    try {
        return OrvoFeature::getInstance().getData(op, appName, nullptr);
    } catch (...) {
        ORVO_LOG_CAUGHT("getData");
        return op == ORVO_GET_PID ? 1 : 0;
    }
}
