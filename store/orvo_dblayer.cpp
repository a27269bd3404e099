// The learning store on the framework's database.
//
// What is stored, under the package name as key; integers in the device's byte
// order. Devices hold rows of these forms: they do not change.
//
//   table          rows per package   value
//   OrvoStatus     0 or 1             8 bytes: AppStatus
//   OrvoLearning   one per launch     int32 launch endpoint, ms
//   OrvoEP         1 when learned     int32 final endpoint, ms
#include "store/orvo_dblayer.h"

#include <cstring>

#include "platform/int32_arithmetic.h"
#include "platform/log.h"

namespace {

constexpr char kLogTag[] = "TAVO-ORVO-DB";
constexpr std::int32_t kRelearnLaunchCount = 499;

std::int32_t int32At(const void* value) {
    std::int32_t result = 0;
    std::memcpy(&result, value, sizeof(result));
    return result;
}

// Opens a table into `handle`, 0 when it cannot be opened.
bool openTable(TavoDB& db, const std::string& name, HardenedAtomic<std::uint32_t>& handle) {
    std::uint32_t opened = 0;
    const bool ok = db.DBopen(name, opened) == 0;
    handle = ok ? opened : 0;
    return ok;
}

}  // namespace

OrvoDBlayer OrvoDBlayer::mOrvoDB;

std::int32_t OrvoDBlayer::Init() {
    if (!openTable(mStatusDB, mStatusTableName, mStatusHandle)) {
        // Names the sample table, not the status table: log readers know it so.
        ORVO_LOGE("Init", "Could not open DB:%s", mLearningTableName.c_str());
        return -1;
    }
    if (!openTable(mLearningDB, mLearningTableName, mLearningHandle)) {
        ORVO_LOGE("Init", "Could not open DB:%s", mLearningTableName.c_str());
        mStatusDB.DBclose(mStatusHandle);
        mStatusHandle = 0;
        return -1;
    }
    if (!openTable(mEpDB, mEpTableName, mEpHandle)) {
        ORVO_LOGE("Init", "Could not open DB:%s", mEpTableName.c_str());
        mStatusDB.DBclose(mStatusHandle);
        mLearningDB.DBclose(mLearningHandle);
        mLearningHandle = 0;
        mStatusHandle = 0;
        return -1;
    }
    return 0;
}

void OrvoDBlayer::DeInit() {
    {
        const std::lock_guard<std::mutex> lock(mFinalEpCacheMutex);
        mFinalEpCache.clear();
    }
    mEpDB.DBclose(mEpHandle);
    mLearningDB.DBclose(mLearningHandle);
    mStatusDB.DBclose(mStatusHandle);
    mEpHandle = 0;
    mLearningHandle = 0;
    mStatusHandle = 0;
}

std::int32_t OrvoDBlayer::checkStatus(std::string& appName, bool countLaunch, bool& learned,
                                      bool& relearn) {
    if (appName.empty()) return -1;
    AppStatus status;
    std::uint64_t size = sizeof(status);
    const bool found = mStatusDB.DBQuery(mStatusHandle, appName, &status, size) == 0;
    if (!countLaunch) {
        if (found) learned = status.isLearned != 0;
        return 0;
    }
    // Equality, not a limit: a larger count is counted up for ever.
    if (found && status.launchCount == kRelearnLaunchCount) {
        relearn = true;
        return 0;
    }
    learned = status.isLearned != 0;
    return countLaunchEvent(appName, status);
}

std::int32_t OrvoDBlayer::countLaunchEvent(std::string& appName, AppStatus& status) {
    const std::uint32_t op = status.launchCount == 0 ? DB_OP_INSERT : DB_OP_UPDATE;
    status.launchCount = wrappingAdd(status.launchCount, 1);
    ORVO_LOGD(4, "checkStatus", "Setting launchCount for %s (%s) to %d", appName.c_str(),
              status.isLearned != 0 ? "learned" : "not learned", status.launchCount);
    if (mStatusDB.DBupdate(mStatusHandle, appName, &status, sizeof(status), op) < 0) {
        ORVO_LOGE("checkStatus", "Failed to update status for app %s", appName.c_str());
        return -1;
    }
    return 0;
}

void OrvoDBlayer::writeAppSample(std::string& appName, std::int32_t sample) {
    if (appName.empty()) return;
    if (mLearningDB.DBupdate(mLearningHandle, appName, &sample, sizeof(sample), DB_OP_INSERT) < 0) {
        ORVO_LOGE("writeAppSample", "Failed to write sample for app %s", appName.c_str());
        return;
    }
    ORVO_LOGD(4, "writeAppSample", "written app %s sample endpoint %d", appName.c_str(), sample);
}

std::uint64_t OrvoDBlayer::getAppSamples(std::string& appName, std::vector<std::int32_t>& samples) {
    if (appName.empty()) return 0;
    std::vector<std::string> keys;
    std::vector<void*> values;
    if (mLearningDB.DBQueryAll(mLearningHandle, appName, keys, values, sizeof(std::int32_t)) >= 1) {
        for (const void* value : values)
            samples.push_back(int32At(value));
    } else {
        // A package that simply has no rows is reported so too.
        ORVO_LOGE("getAppSamples", "Failed to fetch samples for app %s", appName.c_str());
    }
    return samples.size();
}

void OrvoDBlayer::deleteAppSamples(std::string& appName) {
    if (appName.empty()) return;
    if (mLearningDB.DBupdate(mLearningHandle, appName, nullptr, 0, DB_OP_DELETE) < 0) {
        ORVO_LOGE("deleteAppSamples", "Failed to delete samples for app %s", appName.c_str());
        return;
    }
    ORVO_LOGD(4, "deleteAppSamples", "deleted app %s samples successfully", appName.c_str());
}

// Cached only once its row is written, and marked learned only after that.
void OrvoDBlayer::writeFinalEP(std::string& appName, std::int32_t endpoint) {
    if (appName.empty()) return;
    if (mEpDB.DBupdate(mEpHandle, appName, &endpoint, sizeof(endpoint), DB_OP_INSERT) < 0) {
        ORVO_LOGE("writeFinalEP", "Failed to write endpoint for app %s", appName.c_str());
        return;
    }
    ORVO_LOGD(4, "writeFinalEP", "Wrote endpoint for %s as %d", appName.c_str(), endpoint);
    {
        const std::lock_guard<std::mutex> lock(mFinalEpCacheMutex);
        mFinalEpCache[appName] = endpoint;
    }
    markLearned(appName);
}

void OrvoDBlayer::markLearned(std::string& appName) {
    AppStatus status;
    status.isLearned = 1;
    std::uint64_t size = sizeof(status);
    // Only a negative result fails here; a missing row is not a failure, unlike in
    // checkStatus, where any non-zero result means that there is no row.
    if (mStatusDB.DBQuery(mStatusHandle, appName, &status, size) < 0) {
        ORVO_LOGE("writeFinalEP", "Failed to update status for app %s", appName.c_str());
        return;
    }
    status.isLearned = 1;
    ORVO_LOGD(4, "writeFinalEP", "State update for %s: isLearned=%d, launchCount=%d",
              appName.c_str(), status.isLearned, status.launchCount);
    if (mStatusDB.DBupdate(mStatusHandle, appName, &status, sizeof(status), DB_OP_UPDATE) < 0) {
        ORVO_LOGE("writeFinalEP", "Failed to update status for app %s", appName.c_str());
    }
}

std::int32_t OrvoDBlayer::getFinalEP(std::string& appName) {
    if (appName.empty()) return -1;
    {
        const std::lock_guard<std::mutex> lock(mFinalEpCacheMutex);
        const auto cached = mFinalEpCache.find(appName);
        if (cached != mFinalEpCache.end()) return cached->second;
    }
    // What the table holds is not cached: after a restart each query reads it.
    std::vector<std::string> keys;
    std::vector<void*> values;
    const std::int32_t rows =
        mEpDB.DBQueryAll(mEpHandle, appName, keys, values, sizeof(std::int32_t));
    return rows == 1 && !values.empty() ? int32At(values.front()) : -1;
}

std::int32_t OrvoDBlayer::eraseLearning(std::string& appName) {
    if (appName.empty()) return -1;
    {
        const std::lock_guard<std::mutex> lock(mFinalEpCacheMutex);
        mFinalEpCache.erase(appName);
    }
    mStatusDB.DBupdate(mStatusHandle, appName, nullptr, 0, DB_OP_DELETE);
    mLearningDB.DBupdate(mLearningHandle, appName, nullptr, 0, DB_OP_DELETE);
    mEpDB.DBupdate(mEpHandle, appName, nullptr, 0, DB_OP_DELETE);
    return 0;
}
