// Learns one package: launches the command again and again and lets the library
// watch.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/learn/learn_report.h"
#include "host/learn/progress.h"
#include "host/library/launch_kind.h"
#include "host/library/log_sink.h"
#include "host/library/orvo_library.h"
#include "host/library/series_recorder.h"
#include "host/process/launched_command.h"
#include "host/state/command_output.h"
#include "host/state/generations.h"
#include "host/state/state_folder.h"
#include "host/state/store_reader.h"

namespace host {

/// A launch of the command, whole.
struct LearnedLaunch {
    const RecordedLaunch& recorded;
    const LaunchResult& result;
    double startedAtMs = 0;  ///< when the program started, on the steady clock
    std::int64_t launchedAtUnixMs = 0;
    LaunchKind kind;
};

struct LearnOptions {
    std::string package;
    int launches = kLaunchesToLearn;
    std::optional<LaunchKind> kind;  ///< of all launches; none: what a probing launch shows
    bool mayProbe = true;            ///< else the short window takes a probing launch's place
    bool fdCounts = false;           ///< count the process's descriptors and send them
    std::string follow;  ///< the name that the process to learn shows; empty: find it out
    CommandLine command;
    std::function<void(const LearnedLaunch&)> keep;    ///< gets each launch; may be empty
    std::function<void(const ProbeSight&)> keepProbe;  ///< gets the probing launch; may be empty
    /// How long to look on behind each launch; without it as long as its window.
    std::optional<double> lookAfterMs;
    std::function<Generation(OrvoLibrary&)> begin;  ///< gives the one to learn; may erase
};

/// One per process, on one thread.
class LearnSession {
public:
    /// Throws HostError when the store does not work.
    LearnSession(const LearnOptions& options, const StateFolder& state, const CommandOutput& output,
                 LogSink& log, std::uint32_t logLevel, Progress& progress);

    /// Learns until the package is learned, the launches are done, the store
    /// fails, the command is not found, or a person interrupts. Throws HostError
    /// when a launch cannot be made.
    LearnReport run();

private:
    struct Launch;

    void checkStore();
    bool isDone();
    void chooseKind(LearnReport& report);
    std::optional<LaunchKind> kindBefore() const;
    void probe(LearnReport& report);
    std::deque<Assessment> latestOf(const LearnReport& report) const;
    LaunchResult learnOnce(int number);
    std::optional<LaunchResult> tryOnce(int number);
    void follow(Launch& launch);
    void awaitEnd(Launch& launch);
    void look(Launch& launch, const LaunchRecord& record, double elapsedMs);
    bool mustStop(const Launch& launch, const LaunchRecord& record, double elapsedMs);
    bool showsOtherName(Launch& launch) const;
    void followOtherName(const std::string& name);
    void followName(const std::string& name);
    void noteNames(Launch& launch);
    void lookOn(Launch& launch) const;
    void lookAfter(Launch& launch);
    LaunchResult judge(Launch& launch);
    static void assess(LaunchResult& result, Launch& launch);
    std::string storeFaultOf(const LaunchRecord& record) const;
    void note(const LaunchResult& result, std::int64_t launchedAtUnixMs);

    const LearnOptions& mOptions;
    const StateFolder& mState;
    const CommandOutput& mOutput;
    LogSink& mLog;
    Progress& mProgress;
    OrvoLibrary mLibrary;
    StoreReader mStore;
    Generation mGeneration;                // which is learned
    LaunchKind mKind;                      // of the launches, once it is chosen
    std::string mFollowed;                 // the name that the library is told
    bool mMayFollowOther;                  // once in a session
    std::vector<std::string> mNamesShown;  // by a command that was not found
};

}  // namespace host
