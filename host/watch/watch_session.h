// Watches the top-app task list and reports each launch there to the library.
#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <optional>
#include <string>

#include "host/library/fd_counts.h"
#include "host/library/judged_launch.h"
#include "host/library/log_sink.h"
#include "host/library/look_after.h"
#include "host/library/orvo_library.h"
#include "host/process/task_list.h"
#include "host/state/generations.h"
#include "host/state/history.h"
#include "host/state/package_lock.h"
#include "host/state/state_folder.h"
#include "host/state/store_reader.h"
#include "host/watch/app_scan.h"
#include "host/watch/launch_ledger.h"
#include "host/watch/launch_rules.h"

namespace host {

/// What became of a launch, whole.
struct WatchedLaunch {
    const EndedLaunch& ended;
    const SeenLaunch& seen;  ///< of its memory, also behind the window
    std::optional<std::int32_t> endpointMs;
    const Assessment& assessment;
};

struct WatchOptions {
    int intervalMs = 50;
    LaunchRules rules;
    std::function<void(const LaunchEntry&)> tell;    ///< gets each result as it comes
    std::function<void(const WatchedLaunch&)> keep;  ///< and each launch; may be empty
    /// How long to look on behind each launch; without it as long as its window.
    std::optional<double> lookAfterMs;
    /// Tells to which generation a package's launch belongs, before it is sent.
    std::function<std::optional<Generation>(const std::string&, OrvoLibrary&)> generationOf;
};

/// One per process, on one thread.
class WatchSession {
public:
    /// Throws HostError when the store or the task list does not work.
    WatchSession(const WatchOptions& options, const StateFolder& state, LogSink& log,
                 const LibraryOptions& library);
    ~WatchSession();
    WatchSession(const WatchSession&) = delete;
    WatchSession& operator=(const WatchSession&) = delete;

    /// Watches until a person interrupts; then, and also when it fails, the
    /// launch under way is stopped, for the library must be idle when it is
    /// shut down. Throws HostError.
    void run();

private:
    // A launch that the library is done with, while the process is still looked at.
    struct LookedAfter {
        EndedLaunch ended;
        LaunchOutcome outcome;
        LookAfter after;
    };

    void poll();
    void pause();
    void send(const AppProcess& app);
    bool takeLock(const std::string& package);
    double countDescriptors();
    void stopLostHunt();
    void takeEnded();
    void lookAfter();
    void reportAll();
    void keepRest();
    void report(std::list<LookedAfter>::iterator looked);
    void tell(const SentLaunch& launch, LaunchOutcome outcome,
              std::optional<std::int32_t> endpointMs, const Assessment& assessment);
    std::optional<std::int32_t> storedEndpointMs(const std::string& package);
    void dropGoneTasks();
    void finish();
    void tellCost() const;

    const WatchOptions& mOptions;
    LogSink& mLog;
    const History mHistory;
    LaunchLedger mLedger;
    PackageLocks mLocks;  // of the launches that the library has in hand
    OrvoLibrary mLibrary;
    StoreReader mStore;
    TaskListReader mTasks;
    std::optional<TaskListKeeper> mKeeper;  // none where the kernel keeps the list
    AppScan mScan;
    std::optional<FdCounts> mFdCounts;  // of the launch that is sampled
    pid_t mCounted = 0;                 // its process
    std::list<LookedAfter> mLookedAfter;
    bool mIsTelling = true;  // else launches are kept alone

    const double mStartMs;
    const double mStartCpuMs;
    double mLastStopMs = 0;
    std::uint64_t mPolls = 0;
    std::uint64_t mLaunches = 0;
};

}  // namespace host
