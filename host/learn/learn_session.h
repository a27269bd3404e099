// Learns one package: launches the command repeatedly and lets the library watch.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/learn/launch_maker.h"
#include "host/learn/learn_report.h"
#include "host/learn/progress.h"
#include "host/library/launch_kind.h"
#include "host/library/log_sink.h"
#include "host/library/orvo_library.h"
#include "host/state/command_output.h"
#include "host/state/generations.h"
#include "host/state/state_folder.h"
#include "host/state/store_reader.h"

namespace host {

struct LearnOptions {
    LaunchSettings settings;
    int launches = kLaunchesToLearn;
    std::optional<LaunchKind> kind;  ///< of all launches; none: what a probing launch shows
    bool mayProbe = true;            ///< else the short window takes a probing launch's place
    std::function<void(const MadeLaunch&)> keep;       ///< gets each launch; may be empty
    std::function<void(const ProbeSight&)> keepProbe;  ///< gets the probing launch; may be empty
    std::function<Generation(OrvoLibrary&)> begin;     ///< gives the one to learn; may erase
};

/// One per process, on one thread.
class LearnSession {
public:
    /// Throws HostError when the store does not work.
    LearnSession(const LearnOptions& options, const StateFolder& state, const CommandOutput& output,
                 LogSink& log, const LibraryOptions& library, Progress& progress);

    /// Learns until the package is learned, the launches are done, the store
    /// fails, the command is not found, or a person interrupts. Throws HostError
    /// when a launch cannot be made.
    LearnReport run();

private:
    void checkStore();
    bool isDone();
    void chooseKind(LearnReport& report);
    std::optional<LaunchKind> kindBefore() const;
    void probe(LearnReport& report);
    std::deque<Assessment> latestOf(const LearnReport& report) const;
    LaunchResult learnOnce(std::size_t number);
    void note(const LaunchResult& result, std::int64_t launchedAtUnixMs);

    const LearnOptions& mOptions;
    const std::string& mPackage;
    const StateFolder& mState;
    Progress& mProgress;
    OrvoLibrary mLibrary;
    StoreReader mStore;
    LaunchMaker mMaker;
    Generation mGeneration;  // which is learned
    LaunchKind mKind;        // of the launches, once it is chosen
};

}  // namespace host
