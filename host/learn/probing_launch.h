// A launch that the library is not told of: it shows which name to follow, and
// when the program settles. It warms the caches too.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/learn/probe_sight.h"
#include "host/learn/progress.h"
#include "host/learn/shown_name.h"
#include "host/process/launched_command.h"
#include "host/state/command_output.h"

namespace host {

class ProbingLaunch {
public:
    /// `follow` is the name to learn; one that is `given` may come late, for any
    /// other one the name that is shown in its place is taken.
    ProbingLaunch(const CommandLine& command, const CommandOutput& output, std::string follow,
                  bool isGiven, Progress& progress);

    /// Makes the launch, and ends it when enough was seen. None when it showed no
    /// process to learn, or a person interrupted. Throws HostError when COMMAND
    /// cannot be run.
    std::optional<ProbeSight> look();

    /// The name that its process shows.
    const std::string& followed() const { return mFollowed; }

    /// Whether no process showed it, and none can be taken for it.
    bool isLost() const { return mIsLost; }

    /// The names that were shown, as of the last look for one.
    const std::vector<std::string>& namesShown() const { return mShownName.names(); }

private:
    void lookOnce(double nowMs);
    void lookForName(double nowMs);
    bool isOver(double nowMs) const;
    void judge(bool isLast);

    const CommandOutput& mOutput;
    const bool mIsGiven;
    Progress& mProgress;
    std::string mFollowed;
    LaunchedCommand mCommand;
    ShownName mShownName;
    ProbedMemory mMemory;
    std::optional<pid_t> mProcess;
    std::optional<ProbeSight> mSight;
    std::int64_t mLaunchedAtUnixMs = 0;
    double mJudgedMs = 0;
    bool mIsLost = false;
    bool mHasNotedNames = false;
};

}  // namespace host
