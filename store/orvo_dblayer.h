// The learning store: what the library has learned of each package.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/hardening.h"
#include "platform/thread_annotations.h"
#include "store/tavo_db.h"

/// The status record of a package, stored as it is.
struct AppStatus {
    std::uint8_t isLearned = 0;  ///< 0 or 1
    std::uint8_t reserved[3] = {};
    std::int32_t launchCount = 0;  ///< launch events since the row was created
};
static_assert(sizeof(AppStatus) == 8, "a stored format");

/// Keeps status, launch endpoints and final endpoint per package in three
/// tables of the framework's database; orvo_dblayer.cpp describes the rows.
///
/// Every operation may be called from any thread and in every state: a table
/// that is not open is addressed with handle 0, which the database refuses. An
/// empty package name gets the operation's failure value at once, in silence.
class OrvoDBlayer {
public:
    /// Opens the three tables. Returns 0 when all are open, else -1 with none.
    std::int32_t Init();

    /// Closes the three tables and empties the cache. Safe to repeat.
    void DeInit();

    /// Reads the package's status into `learned`. With `countLaunch` it counts
    /// one launch event, or, when the count has reached its limit, sets
    /// `relearn` and changes nothing. What it does not set it leaves as it was.
    /// Returns 0, or -1 when the status row cannot be written.
    std::int32_t checkStatus(std::string& appName, bool countLaunch, bool& learned, bool& relearn);

    /// Adds one launch's endpoint, in ms.
    void writeAppSample(std::string& appName, std::int32_t sample);

    /// Appends the stored launch endpoints, in ms, to `samples`; returns the
    /// number of entries in `samples` afterwards.
    std::uint64_t getAppSamples(std::string& appName, std::vector<std::int32_t>& samples);

    void deleteAppSamples(std::string& appName);

    /// Stores the final endpoint, in ms, and marks the package learned.
    void writeFinalEP(std::string& appName, std::int32_t endpoint);

    /// The final endpoint in ms, or -1.
    std::int32_t getFinalEP(std::string& appName);

    /// Removes all rows of the package. Returns 0.
    std::int32_t eraseLearning(std::string& appName);

    /// The one store of the process.
    static OrvoDBlayer mOrvoDB;

private:
    friend class OrvoDBlayerPeer;  // benchmarks fill the cache

    std::int32_t countLaunchEvent(std::string& appName, AppStatus& status);
    void markLearned(std::string& appName);

    std::string mEpTableName = "OrvoEP";
    std::string mLearningTableName = "OrvoLearning";
    std::string mStatusTableName = "OrvoStatus";
    TavoDB mEpDB;
    TavoDB mLearningDB;
    TavoDB mStatusDB;
    HardenedAtomic<std::uint32_t> mEpHandle{0};
    HardenedAtomic<std::uint32_t> mLearningHandle{0};
    HardenedAtomic<std::uint32_t> mStatusHandle{0};

    // Final endpoints written during the life of the process. The learning
    // thread writes it while host threads read and erase.
    std::mutex mFinalEpCacheMutex;
    std::unordered_map<std::string, std::int32_t> mFinalEpCache ORVO_GUARDED_BY(mFinalEpCacheMutex);
};
