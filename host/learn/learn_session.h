// Learns one package: launches the command again and again and lets the library
// watch.
#pragma once

#include <cstdint>
#include <string>

#include "host/learn/learn_report.h"
#include "host/learn/progress.h"
#include "host/library/launch_watch.h"
#include "host/library/log_sink.h"
#include "host/library/orvo_library.h"
#include "host/process/launched_command.h"
#include "host/state/state_folder.h"
#include "host/state/store_reader.h"

namespace host {

struct LearnOptions {
    std::string package;
    int launches = kLaunchesToLearn;
    std::int32_t type = 1;
    std::int32_t subtype = 0;
    bool fdCounts = false;  ///< count the process's descriptors and send them
    CommandLine command;
};

/// What to do about a command that shows another name than PACKAGE.
constexpr const char* kNameRemedy =
    "give the program of that name as COMMAND, or that name as PACKAGE with --keep-name";

/// One per process, on one thread.
class LearnSession {
public:
    /// Throws HostError when the store does not work.
    LearnSession(const LearnOptions& options, const StateFolder& state, LogSink& log,
                 std::uint32_t logLevel, Progress& progress);

    /// Learns until the package is learned, the launches are done, the store
    /// fails, the command is not found, or a person interrupts. Throws HostError
    /// when a launch cannot be made.
    LearnReport run();

private:
    void checkStore();
    LaunchResult learnOnce();
    void follow(LaunchWatch& watch, LaunchedCommand& command);
    void awaitEnd(LaunchWatch& watch, LaunchedCommand& command);
    bool mustStop(const LaunchRecord& record, const LaunchedCommand& command, double elapsedMs);
    void noteName(const LaunchRecord& record, const LaunchedCommand& command);
    void note(const LaunchResult& result, std::int64_t launchedAtUnixMs);
    LaunchResult judge(const LaunchRecord& record, bool commandEnded, std::size_t rowsBefore);

    const LearnOptions& mOptions;
    const StateFolder& mState;
    LogSink& mLog;
    Progress& mProgress;
    OrvoLibrary mLibrary;
    StoreReader mStore;
    std::string mOtherName;  // that the command showed while it was looked for
};

/// The exit code for what was reached.
int exitCodeOf(const LearnReport& report);

}  // namespace host
