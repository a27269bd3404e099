// Finding the process that a launch started, and remembering its pid.
#include <exception>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

#include "learner/log_tag.h"
#include "learner/orvo_learner.h"
#include "learner/task_text.h"
#include "platform/log.h"

namespace {

constexpr char kTasksPath[] = "/dev/cpuset/top-app/tasks";
constexpr int kScansPerCall = 5;
constexpr useconds_t kScanDelayUs = 200'000;  // lets the process join the cpuset

std::string procPath(std::int32_t task, const char* file) {
    return "/proc/" + std::to_string(task) + file;
}

// The last "Tgid" line's number goes into `tgid`, if there is such a line.
void readStatus(std::istream& status, std::int32_t& tgid) {
    std::string line;
    while (std::getline(status, line)) {
        if (readTgid(line, tgid)) ORVO_LOGD_AT(3, 206, "getPidExpensive", "tgid is %d\n", tgid);
    }
}

// Whether the task's command line, up to its first NUL, is `appName`. A task
// that has gone or has no command line (a kernel thread) does not match.
bool isLaunchedTask(std::ifstream& file, std::string& name, std::int32_t task,
                    const std::string& appName) {
    file.clear();
    file.open(procPath(task, "/cmdline"));
    if (!file.is_open()) return false;
    const bool matches = std::getline(file, name, '\0') && !name.empty() && name == appName;
    file.close();
    return matches;
}

}  // namespace

std::int32_t OrvoLearner::getPidExpensive(std::string& appName) {
    std::int32_t tgid = -1;
    try {
        std::ifstream file(kTasksPath);
        if (!file.is_open()) return -1;
        const std::vector<std::int32_t> tasks = readTaskIds(file);
        file.close();

        std::string name;
        for (const std::int32_t task : tasks) {
            tgid = -1;
            if (!isLaunchedTask(file, name, task, appName)) continue;
            const std::string statusPath = procPath(task, "/status");
            std::ifstream status(statusPath);
            if (!status.is_open()) {
                ORVO_LOGE_AT(199, "getPidExpensive", "Error openiong is %s\n", statusPath.c_str());
                continue;
            }
            readStatus(status, tgid);
            return tgid;
        }
    } catch (const std::exception& e) {
        ORVO_LOGE_AT(217, "getPidExpensive", "Caught Exception: %s in %s", e.what(),
                     "getPidExpensive");
    } catch (...) {
        ORVO_LOGE_AT(219, "getPidExpensive", "Caught Exception in %s", "getPidExpensive");
    }
    return tgid;
}

std::int32_t OrvoLearner::getPid(std::string& appName) {
    std::int32_t pid = -1;
    for (int scan = 0; scan < kScansPerCall && pid < 1; ++scan) {
        usleep(kScanDelayUs);
        pid = getPidExpensive(appName);
    }
    if (pid < 1) {
        ORVO_LOGE_AT(240, "getPid", "Failed to get pid for app_name %s\n", appName.c_str());
    }
    setPidOnMap(appName, pid);  // a failure overwrites an earlier pid
    return pid;
}

void OrvoLearner::setPidOnMap(std::string& appName, std::int32_t pid) {
    ORVO_LOGD_AT(3, 248, "setPidOnMap", "Updating pid for %s to %d\n", appName.c_str(), pid);
    try {
        const std::lock_guard<std::mutex> lock(mPidMapMutex);
        mPidMap[appName] = pid;
    } catch (...) {
        ORVO_LOG_CAUGHT_AS("Caught Exception", 252, 254, "setPidOnMap");
    }
}

std::int32_t OrvoLearner::getPidFromMap(std::string& appName) {
    try {
        const std::lock_guard<std::mutex> lock(mPidMapMutex);
        const auto entry = mPidMap.find(appName);
        const bool found = entry != mPidMap.end();
        // Prints whether there is an entry, not the pid.
        ORVO_LOGD_AT(3, 264, "getPidFromMap", "Finding pid for %s found %d\n", appName.c_str(),
                     found ? 1 : 0);
        return found ? entry->second : -1;
    } catch (...) {
        ORVO_LOG_CAUGHT_AS("Caught Exception", 269, 271, "getPidFromMap");
    }
    return -1;
}
