// What the library's log lines say about one launch, and the launch's outcome.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/library/log_line.h"

namespace host {

/// How long the library looks for a process.
constexpr double kHuntLimitMs = 60'000;

enum class LaunchPhase { kPending, kHunting, kSampling, kConcluding, kEnded };

/// How the library's work on a launch ended.
enum class LaunchEnding {
    kNone,
    kEndpoint,
    kUndecided,
    kAborted,
    kNotFound,
    kFaulted,       ///< an exception inside the library
    kLimitReached,  ///< the launch-count limit: learning erased, launch not taken
};

enum class LaunchOutcome {
    kStored,
    kUndecided,
    kExitedEarly,
    kNotFound,
    kStoreFailed,
    kLearningFailed,
    kLimitReached,
    kInterrupted,
    kAlreadyLearned,
    kSuperseded,      ///< another launch came while it waited for its turn
    kInUseElsewhere,  ///< another process is learning or erasing the package
};

/// The word for an outcome in output of both kinds.
const char* outcomeText(LaunchOutcome outcome);

/// Follows one launch through the log lines that the library writes for it.
class LaunchRecord {
public:
    void take(const LogLine& line);

    LaunchPhase phase() const { return mPhase; }
    LaunchEnding ending() const { return mEnding; }
    /// Whether the analysis was done, to whatever result.
    bool isAnalysed() const {
        return mEnding == LaunchEnding::kEndpoint || mEnding == LaunchEnding::kUndecided;
    }
    std::int32_t sampleBudget() const { return mSampleBudget; }

    /// What the library concluded, stored or not.
    std::optional<std::int32_t> endpointMs() const { return mEndpointMs; }

    /// The store did not keep what was learned; nor, separately, count the launch.
    bool storeFailed() const { return mStoreFailed; }
    bool countFailed() const { return mCountFailed; }

    /// The last error that the database reported during the launch; may be empty.
    const std::string& databaseError() const { return mDatabaseError; }

private:
    void takeError(const LogLine& line);
    void takeStoreError(const LogLine& line);
    void takeProgress(const LogLine& line);
    void concludeWith(LaunchEnding ending);

    LaunchPhase mPhase = LaunchPhase::kPending;
    LaunchEnding mEnding = LaunchEnding::kNone;
    std::int32_t mSampleBudget = 0;
    std::optional<std::int32_t> mEndpointMs;
    bool mStoreFailed = false;
    bool mCountFailed = false;
    std::string mDatabaseError;
};

/// What the host knows of a launch beside the library's log.
struct LaunchCircumstances {
    bool interrupted = false;   ///< a person or a signal asked for the end
    bool commandEnded = false;  ///< no process of the command was left in the end
};

LaunchOutcome outcomeOf(const LaunchRecord& record, const LaunchCircumstances& circumstances);

}  // namespace host
