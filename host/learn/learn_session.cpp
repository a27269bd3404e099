// Learns one package, launch by launch.
#include "host/learn/learn_session.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "host/base/exit_code.h"
#include "host/base/interruption.h"
#include "host/base/printable.h"
#include "host/base/steady_clock.h"
#include "host/learn/probing_launch.h"
#include "host/learn/shown_name.h"
#include "host/learn/tree_growth.h"
#include "host/library/fd_counts.h"
#include "host/library/launch_watch.h"
#include "host/library/look_after.h"
#include "host/process/launched_command.h"
#include "host/process/process_look.h"
#include "host/state/history.h"
#include "host/state/store_holder.h"

namespace host {
namespace {

constexpr std::chrono::milliseconds kTendPeriod{30};
constexpr double kNameLookPeriodMs = 100;

// While the library samples nobody reads the task list, and every look of ours
// costs what some samples cost.
constexpr std::chrono::milliseconds kSamplingPeriod{500};
constexpr double kTreeLookPeriodMs = 5000;
constexpr double kNameNoteAfterMs = 3000;

// Beyond the longest hunt (about 62 s) and the longest launch (2000 samples,
// about 62 s) with their share of a loaded machine.
constexpr double kLaunchLimitMs = 300'000;

// A command that shows another name now will do so the next time, and each hunt
// for it takes a minute.
bool endsSession(LaunchOutcome outcome) {
    return outcome == LaunchOutcome::kStoreFailed || outcome == LaunchOutcome::kInterrupted ||
           outcome == LaunchOutcome::kNotFound;
}

}  // namespace

/// One launch under way.
struct LearnSession::Launch {
    explicit Launch(const LearnSession& session)
        : command(session.mOptions.command, session.mOutput.fd()),
          watch(session.mLog),
          shownName(session.mFollowed) {}

    LaunchedCommand command;
    LaunchWatch watch;
    ShownName shownName;
    TreeGrowth growth;
    std::optional<LookAfter> after;
    LaunchPhase lastPhase = LaunchPhase::kPending;
    double lastLookMs = 0;
    bool hasNotedNames = false;
};

LearnSession::LearnSession(const LearnOptions& options, const StateFolder& state,
                           const CommandOutput& output, LogSink& log, std::uint32_t logLevel,
                           Progress& progress)
    : mOptions(options),
      mState(state),
      mOutput(output),
      mLog(log),
      mProgress(progress),
      mLibrary(state, log, std::max(logLevel, kFollowingLevel)),
      mStore(state.database()),
      mFollowed(options.package),
      mMayFollowOther(options.follow.empty()) {
    if (!options.follow.empty()) followName(options.follow);
}

LearnReport LearnSession::run() {
    mGeneration = mOptions.begin(mLibrary);
    checkStore();
    LearnReport report;
    report.package = mOptions.package;
    report.launchesAsked = mOptions.launches;
    if (!isDone()) chooseKind(report);
    while (report.kind && report.launches.size() < static_cast<std::size_t>(mOptions.launches)) {
        if (isDone()) break;
        report.launches.push_back(learnOnce(static_cast<int>(report.launches.size()) + 1));
        mProgress.endLaunch(renderResult(report.launches.back()));
        if (endsSession(report.launches.back().outcome)) break;
    }
    const std::int32_t finalMs = mLibrary.finalEndpointMs(mOptions.package);
    if (finalMs > 0) report.finalEndpointMs = finalMs;
    const StoredPackage stored = mStore.package(mOptions.package);
    report.samplesStored = static_cast<int>(stored.launchEndpointsMs.size());
    report.followed = mFollowed;
    report.followedWasSeen = mOptions.follow.empty() && !mMayFollowOther;
    report.namesShown = mNamesShown;
    report.inheritance = inheritedFrom(latestOf(report));
    return report;
}

bool LearnSession::isDone() {
    return isInterrupted() || mLibrary.finalEndpointMs(mOptions.package) > 0;
}

// Launches of different windows make a mean that means nothing.
void LearnSession::chooseKind(LearnReport& report) {
    const std::size_t stored = mStore.package(mOptions.package).launchEndpointsMs.size();
    if (stored > 0) report.kindBefore = kindBefore();
    report.kind = mOptions.kind ? mOptions.kind : report.kindBefore;
    if (!mOptions.kind && report.kind) {
        mProgress.tell("launches stored already: " + std::to_string(stored) + " of " +
                       std::to_string(kLaunchesToLearn) + "; going on with their window, " +
                       windowText(windowOf(*report.kind)));
    } else if (!report.kind && mOptions.mayProbe) {
        probe(report);
    } else if (!report.kind) {
        report.kind = kindOf(Window::kShort);
        mProgress.tell("no probing launch, which would read the input; learning with " +
                       windowText(Window::kShort));
    }
    mKind = report.kind.value_or(mKind);
}

// Of the launches stored. What cannot be read of the history is told in the end.
std::optional<LaunchKind> LearnSession::kindBefore() const {
    try {
        const HistoryContents history = History(mState.history()).read();
        const PackageHistory& package = history.of(mOptions.package, mGeneration.number);
        const LaunchKind kind{package.type, package.subtype};
        if (launchKindFault(kind).empty()) return kind;
    } catch (const HostError&) {
    }
    return std::nullopt;
}

// What keeps it from showing a window keeps the launches from being learned: they
// tell it better, but for a name that nobody shows, which takes them a minute.
void LearnSession::probe(LearnReport& report) {
    mProgress.beginLaunch(0);
    mOutput.keepBounded();
    ProbingLaunch launch(mOptions.command, mOutput, mFollowed, !mMayFollowOther, mProgress);
    report.probe = launch.look();
    if (report.probe && mOptions.keepProbe) mOptions.keepProbe(*report.probe);
    if (launch.followed() != mFollowed) followOtherName(launch.followed());
    if (isInterrupted()) return;
    if (launch.isLost()) {
        mNamesShown = launch.namesShown();
        report.launches.emplace_back().outcome = LaunchOutcome::kNotFound;
        mProgress.endLaunch(renderResult(report.launches.back()));
        return;
    }
    const Window window = report.probe ? report.probe->choice.window : Window::kShort;
    mProgress.note(report.probe ? textOf(*report.probe)
                                : "COMMAND ended before its process was found; learning with " +
                                      windowText(window));
    report.kind = kindOf(window);
}

// A history that cannot be read is no failure, as one that cannot be written is
// none; then this session's launches are all that is known.
std::deque<Assessment> LearnSession::latestOf(const LearnReport& report) const {
    try {
        return History(mState.history()).read().of(mOptions.package, mGeneration.number).latest;
    } catch (const HostError& error) {
        std::fprintf(stderr, "orvo-host: %s\n", printable(error.what()).c_str());
    }
    std::deque<Assessment> latest;
    for (const LaunchResult& launch : report.launches) {
        if (launch.endpointMs) latest.push_back(launch.assessment);
    }
    return latest;
}

void LearnSession::checkStore() {
    if (!mStore.package(mOptions.package).isDamaged()) return;
    throw HostError(kEnvironment, "what " + mState.database() + " holds of " + mOptions.package +
                                      " is damaged; run: orvo-host erase " + mOptions.package);
}

// A launch that only shows which name to follow is none of those asked for.
LaunchResult LearnSession::learnOnce(int number) {
    std::optional<LaunchResult> result;
    while (!result)
        result = tryOnce(number);
    return *result;
}

// The process stands ready before the library hears of the launch, and runs
// right after: so the library's clock and the program's start together, and
// the time that the store takes to count the launch belongs to neither.
std::optional<LaunchResult> LearnSession::tryOnce(int number) {
    mProgress.beginLaunch(number);
    const std::int64_t launchedAtUnixMs = unixMs();
    mOutput.keepBounded();
    Launch launch(*this);
    mLibrary.launch(mFollowed, mKind.type, mKind.subtype);
    if (launch.watch.record().phase() != LaunchPhase::kEnded) follow(launch);
    launch.command.tend();
    launch.growth.take(lookAt(launch.command.processes()));
    LaunchResult result = judge(launch);
    lookAfter(launch);
    assess(result, launch);
    launch.command.end();
    if (showsOtherName(launch)) {
        followOtherName(launch.shownName.name());
        return std::nullopt;
    }
    if (result.outcome == LaunchOutcome::kNotFound) mNamesShown = launch.shownName.names();
    note(result, launchedAtUnixMs);
    if (mOptions.keep) {
        mOptions.keep({launch.watch.recorded(), result, launch.command.releasedMs(),
                       launchedAtUnixMs, mKind});
    }
    return result;
}

// Whatever goes wrong, the library is given time to end the launch: shutting
// down while the learning thread is at work would pull the series from under it.
void LearnSession::follow(Launch& launch) {
    try {
        launch.command.release();
        awaitEnd(launch);
    } catch (...) {
        const double giveUpMs = steadyMs() + kStopLimitMs;
        while (steadyMs() < giveUpMs) {
            mLibrary.stop(mFollowed);
            if (launch.watch.waitForEnd(std::chrono::milliseconds(kStopRepeatMs))) break;
        }
        throw;
    }
}

void LearnSession::awaitEnd(Launch& launch) {
    const double startMs = steadyMs();
    double firstStopMs = 0;
    double lastStopMs = 0;
    bool isSampling = false;
    FdCounts fdCounts(mLibrary, mFollowed);
    const auto period = [&] {
        return isSampling && !mOptions.fdCounts ? kSamplingPeriod : kTendPeriod;
    };
    while (!launch.watch.waitForEnd(period())) {
        const double nowMs = steadyMs();
        const LaunchRecord record = launch.watch.record();
        isSampling = record.phase() == LaunchPhase::kSampling;
        if (isSampling && mOptions.fdCounts) fdCounts.take();
        if (record.phase() == LaunchPhase::kConcluding) lookOn(launch);
        if (isSampling) {
            launch.command.reap();
        } else {
            launch.command.tend();
        }
        mOutput.keepBounded();
        look(launch, record, nowMs - startMs);
        mProgress.show(record);
        if (firstStopMs > 0 && nowMs - firstStopMs > kStopLimitMs) {
            throw HostError(kEnvironment,
                            "the library does not end the launch; see " + mState.log());
        }
        const bool isDue = nowMs - lastStopMs > kStopRepeatMs;
        if (isDue && mustStop(launch, record, nowMs - startMs)) {
            mLibrary.stop(mFollowed);
            lastStopMs = nowMs;
            if (firstStopMs <= 0) firstStopMs = nowMs;
        }
    }
}

void LearnSession::look(Launch& launch, const LaunchRecord& record, double elapsedMs) {
    const bool isHunting = record.phase() == LaunchPhase::kHunting;
    const double periodMs = isHunting ? kNameLookPeriodMs : kTreeLookPeriodMs;
    const bool isDue =
        record.phase() != launch.lastPhase || elapsedMs - launch.lastLookMs > periodMs;
    if (!isDue) return;
    launch.lastPhase = record.phase();
    launch.lastLookMs = elapsedMs;
    if (!isHunting) launch.command.tend();
    const std::vector<ProcessLook> tree = lookAt(launch.command.processes());
    if (!isHunting) {
        launch.growth.take(tree);
        return;
    }
    launch.shownName.take(elapsedMs, tree);
    if (elapsedMs > kNameNoteAfterMs && !mOptions.follow.empty()) noteNames(launch);
}

// A person who names what to follow may know that it comes late.
bool LearnSession::mustStop(const Launch& launch, const LaunchRecord& record, double elapsedMs) {
    if (isInterrupted() || elapsedMs > kLaunchLimitMs) return true;
    if (record.phase() != LaunchPhase::kHunting) return false;
    const bool isLost = launch.shownName.verdict() != ShownName::Verdict::kOpen;
    return launch.command.hasEnded() || (isLost && mOptions.follow.empty());
}

// The library has taken its last sample of the launch by then.
void LearnSession::lookOn(Launch& launch) const {
    if (!launch.after) launch.after.emplace(launch.watch.recorded(), mOptions.lookAfterMs);
    if (!launch.after->hasEnded()) launch.after->look(steadyMs());
}

void LearnSession::lookAfter(Launch& launch) {
    lookOn(launch);
    LookAfter& after = *launch.after;
    while (!after.hasEnded() && !isInterrupted()) {
        sleepMs(std::max(0, static_cast<int>(std::ceil(after.nextMs() - steadyMs()))));
        after.look(steadyMs());
        launch.command.tend();
        mOutput.keepBounded();
        mProgress.showLookAfter(after.lookedForMs(), after.limitMs());
    }
}

bool LearnSession::showsOtherName(Launch& launch) const {
    return launch.shownName.verdict() == ShownName::Verdict::kOther && mMayFollowOther &&
           !launch.watch.record().isAnalysed() && !isInterrupted();
}

void LearnSession::followOtherName(const std::string& name) {
    mMayFollowOther = false;
    followName(name);
    mProgress.note("COMMAND shows the name '" + printable(name) + "'; the launches of " +
                   mOptions.package + " follow that");
}

void LearnSession::followName(const std::string& name) {
    mFollowed = name;
    mLibrary.keepUnder(mOptions.package, name);
}

void LearnSession::noteNames(Launch& launch) {
    if (launch.hasNotedNames || launch.shownName.names().empty()) return;
    launch.hasNotedNames = true;
    mProgress.note(notFoundYet(mFollowed, launch.shownName.names()));
}

// While COMMAND still runs.
LaunchResult LearnSession::judge(Launch& launch) {
    const LaunchRecord record = launch.watch.record();
    LaunchResult result;
    result.commandEnded = launch.command.hasEnded();
    result.outcome = outcomeOf(record, {isInterrupted(), result.commandEnded});
    if (result.outcome == LaunchOutcome::kStored) result.endpointMs = record.endpointMs();
    result.countFailed = record.countFailed();
    if (record.storeFailed() || record.countFailed()) result.storeFault = storeFaultOf(record);
    if (record.ending() == LaunchEnding::kNotFound) return result;
    const pid_t sampled = mLibrary.pid(mFollowed);
    result.changedWhileSampled = launch.growth.hasChanged(sampled);
    result.otherGrew = launch.growth.otherThan(sampled);
    return result;
}

// A launch that was stopped is none to judge.
void LearnSession::assess(LaunchResult& result, Launch& launch) {
    if (!launch.watch.record().isAnalysed()) return;
    const RecordedLaunch recorded = launch.watch.recorded();
    result.judged.emplace(seenOf(recorded, launch.after ? launch.after->memoryKb() : Series()));
    result.assessment = assessmentOf(*result.judged, recorded, launch.command.releasedMs(),
                                     result.endpointMs.has_value());
}

std::string LearnSession::storeFaultOf(const LaunchRecord& record) const {
    const std::string& error = record.databaseError();
    if (error.empty()) return "it gave no reason; see " + mState.log();
    return describeStoreFault(error, mState.database(),
                              "free the disk or make " + mState.database() + " writable");
}

void LearnSession::note(const LaunchResult& result, std::int64_t launchedAtUnixMs) {
    LaunchEntry entry{launchedAtUnixMs,   "learn",          mOptions.package,
                      mKind.type,         mKind.subtype,    outcomeText(result.outcome),
                      result.endpointMs,  std::nullopt,     result.assessment,
                      mGeneration.number, mGeneration.label};
    const std::int32_t finalMs = mLibrary.finalEndpointMs(mOptions.package);
    if (finalMs > 0) entry.finalEndpointMs = finalMs;
    History(mState.history()).note(entry);
}

}  // namespace host
