// Launches one command, each time through the library, which follows the launch.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/learn/made_launch.h"
#include "host/learn/probe_sight.h"
#include "host/learn/progress.h"
#include "host/library/launch_kind.h"
#include "host/library/log_sink.h"
#include "host/library/orvo_library.h"
#include "host/process/launched_command.h"
#include "host/state/command_output.h"

namespace host {

/// What is launched.
struct LaunchSettings {
    std::string package;  ///< that the store keeps the launches under
    CommandLine command;
    std::string follow;    ///< the name that the process shows; empty: find it out
    bool fdCounts = true;  ///< send the process's descriptors, where the library takes them
    /// How long to look on behind each launch; without it as long as its window.
    std::optional<double> lookAfterMs;
};

/// What it is launched with. All of it must outlive the makers, which may share it.
struct LaunchMeans {
    OrvoLibrary& library;
    LogSink& log;
    const CommandOutput& output;
    Progress& progress;
    std::string logFile;  ///< both for messages
    std::string database;
};

/// One launch.
struct LaunchOrder {
    std::string title;  ///< as the progress names it
    LaunchKind kind;
    int phaseMs = 0;  ///< from telling the library to the program's start
};

/// What a probing launch came to.
struct Probing {
    std::optional<ProbeSight> sight;  ///< none when it ended too early, or was interrupted
    bool isLost = false;              ///< no process showed a name to follow
};

/// Whether a launch with this outcome is the last. A command that shows another name
/// now will do so the next time, and each hunt for it takes a minute.
bool endsSession(LaunchOutcome outcome);

/// A launch that the library is at work on.
struct OngoingLaunch {
    LaunchPhase phase;
    double elapsedMs;
    bool commandEnded;
    bool isLost;   ///< no name to follow is shown, or another one
    bool isGiven;  ///< the name, by a person, who may know that it comes late
};

/// Whether the library is to be stopped, which hunts for a minute.
bool mustStop(const OngoingLaunch& launch);

/// On one thread.
class LaunchMaker {
public:
    LaunchMaker(const LaunchSettings& settings, const LaunchMeans& means);

    /// A launch that the library is not told of. Throws HostError when it cannot be
    /// made.
    Probing probe(const std::string& title);

    /// None for a launch that only showed another name, which is followed from then
    /// on. Throws HostError when the launch cannot be made.
    std::optional<MadeLaunch> tryOnce(const LaunchOrder& order);

    /// The same, and once more where it was none.
    MadeLaunch make(const LaunchOrder& order);

    /// The name that the library is told.
    const std::string& followed() const { return mFollowed; }

    /// Whether that is one that COMMAND showed before.
    bool followedWasSeen() const { return mSettings.follow.empty() && !mMayFollowOther; }

    /// When it was not found: those there were.
    const std::vector<std::string>& namesShown() const { return mNamesShown; }

private:
    struct Launch;

    void follow(Launch& launch, int phaseMs);
    void awaitEnd(Launch& launch);
    void look(Launch& launch, const LaunchRecord& record, double elapsedMs);
    bool isToStop(const Launch& launch, const LaunchRecord& record, double elapsedMs) const;
    void noteNames(Launch& launch);
    void lookOn(Launch& launch) const;
    void lookAfter(Launch& launch);
    LaunchResult judge(Launch& launch);
    static void assess(LaunchResult& result, Launch& launch);
    bool showsOtherName(Launch& launch) const;
    void followOtherName(const std::string& name);
    std::string storeFaultOf(const LaunchRecord& record) const;

    const LaunchSettings mSettings;
    const LaunchMeans mMeans;
    std::string mFollowed;
    bool mMayFollowOther;  // once
    std::vector<std::string> mNamesShown;
};

}  // namespace host
