// Launches one command, each time through the library.
#include "host/learn/launch_maker.h"

#include <algorithm>
#include <cmath>

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
#include "host/process/process_look.h"
#include "host/state/history.h"
#include "host/state/store_holder.h"

namespace host {
namespace {

constexpr double kTendPeriodMs = 30;
constexpr double kNameLookPeriodMs = 100;

// While the library samples nobody reads the task list, and every look of ours
// costs what some samples cost.
constexpr double kSamplingPeriodMs = 500;
constexpr double kTreeLookPeriodMs = 5000;

// Beyond the longest hunt (about 62 s) and the longest launch (2000 samples,
// about 62 s) with their share of a loaded machine.
constexpr double kLaunchLimitMs = 300'000;

// Waits as long, or until the sampling is over; true when the launch has ended.
bool countUntil(LaunchWatch& watch, FdCounts& counts, double limitMs) {
    const double untilMs = steadyMs() + limitMs;
    while (watch.phase() == LaunchPhase::kSampling && steadyMs() < untilMs) {
        counts.take(steadyMs());
        if (watch.waitForEnd(counts.nextMs() - steadyMs())) return true;
    }
    return watch.phase() == LaunchPhase::kEnded;
}

}  // namespace

// One launch under way.
struct LaunchMaker::Launch {
    explicit Launch(const LaunchMaker& maker)
        : command(maker.mSettings.command, maker.mMeans.output.fd()),
          watch(maker.mMeans.log),
          shownName(maker.mFollowed) {}

    LaunchedCommand command;
    LaunchWatch watch;
    ShownName shownName;
    TreeGrowth growth;
    std::optional<LookAfter> after;
    LaunchPhase lastPhase = LaunchPhase::kPending;
    double lastLookMs = 0;
    bool hasNotedNames = false;
};

LaunchMaker::LaunchMaker(const LaunchSettings& settings, const LaunchMeans& means)
    : mSettings(settings),
      mMeans(means),
      mFollowed(settings.follow.empty() ? settings.package : settings.follow),
      mMayFollowOther(settings.follow.empty()) {}

Probing LaunchMaker::probe(const std::string& title) {
    mMeans.progress.begin(title);
    mMeans.output.keepBounded();
    ProbingLaunch launch(mSettings.command, mMeans.output, mFollowed, !mMayFollowOther,
                         mMeans.progress);
    Probing probing;
    probing.sight = launch.look();
    if (launch.followed() != mFollowed) followOtherName(launch.followed());
    probing.isLost = launch.isLost() && !isInterrupted();
    if (probing.isLost) mNamesShown = launch.namesShown();
    return probing;
}

bool endsSession(LaunchOutcome outcome) {
    return outcome == LaunchOutcome::kStoreFailed || outcome == LaunchOutcome::kInterrupted ||
           outcome == LaunchOutcome::kNotFound;
}

bool mustStop(const OngoingLaunch& launch) {
    if (launch.elapsedMs > kLaunchLimitMs) return true;
    if (launch.phase != LaunchPhase::kHunting) return false;
    return launch.commandEnded || (launch.isLost && !launch.isGiven);
}

MadeLaunch LaunchMaker::make(const LaunchOrder& order) {
    std::optional<MadeLaunch> launch;
    while (!launch)
        launch = tryOnce(order);
    return *launch;
}

// The process stands ready before the library hears of the launch, and runs
// right after, or the order's phase later: so the library's clock and the
// program's start together, or as far apart as is known, and the time that the
// store takes to count the launch belongs to neither.
std::optional<MadeLaunch> LaunchMaker::tryOnce(const LaunchOrder& order) {
    mMeans.progress.begin(order.title);
    const std::int64_t launchedAtUnixMs = unixMs();
    mMeans.output.keepBounded();
    mMeans.library.keepUnder(mSettings.package, mFollowed);  // another maker's may be set
    Launch launch(*this);
    mMeans.library.launch(mFollowed, order.kind.type, order.kind.subtype);
    if (launch.watch.record().phase() != LaunchPhase::kEnded) follow(launch, order.phaseMs);
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
    return MadeLaunch{std::move(result), launch.watch.recorded(), launch.command.releasedMs(),
                      launchedAtUnixMs, order.kind};
}

// Whatever goes wrong, the library is given time to end the launch: shutting
// down while the learning thread is at work would pull the series from under it.
void LaunchMaker::follow(Launch& launch, int phaseMs) {
    try {
        if (phaseMs > 0) sleepMs(phaseMs);
        launch.command.release();
        awaitEnd(launch);
    } catch (...) {
        const double giveUpMs = steadyMs() + kStopLimitMs;
        while (steadyMs() < giveUpMs) {
            mMeans.library.stop(mFollowed);
            if (launch.watch.waitForEnd(kStopRepeatMs)) break;
        }
        throw;
    }
}

void LaunchMaker::awaitEnd(Launch& launch) {
    const double startMs = steadyMs();
    double firstStopMs = 0;
    double lastStopMs = 0;
    bool isSampling = false;
    FdCounts fdCounts(mMeans.library, mFollowed);
    const bool counts = mSettings.fdCounts && mMeans.library.file().isHardened();
    const auto hasEnded = [&] {
        if (isSampling && counts) return countUntil(launch.watch, fdCounts, kSamplingPeriodMs);
        return launch.watch.waitForEnd(isSampling ? kSamplingPeriodMs : kTendPeriodMs);
    };
    while (!hasEnded()) {
        const double nowMs = steadyMs();
        const LaunchRecord record = launch.watch.record();
        isSampling = record.phase() == LaunchPhase::kSampling;
        if (record.phase() == LaunchPhase::kConcluding) lookOn(launch);
        if (isSampling) {
            launch.command.reap();
        } else {
            launch.command.tend();
        }
        mMeans.output.keepBounded();
        look(launch, record, nowMs - startMs);
        mMeans.progress.show(record);
        if (firstStopMs > 0 && nowMs - firstStopMs > kStopLimitMs) {
            throw HostError(kEnvironment,
                            "the library does not end the launch; see " + mMeans.logFile);
        }
        const bool isDue = nowMs - lastStopMs > kStopRepeatMs;
        if (isDue && isToStop(launch, record, nowMs - startMs)) {
            mMeans.library.stop(mFollowed);
            lastStopMs = nowMs;
            if (firstStopMs <= 0) firstStopMs = nowMs;
        }
    }
}

void LaunchMaker::look(Launch& launch, const LaunchRecord& record, double elapsedMs) {
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
    if (elapsedMs > kNameNoteAfterMs && !mSettings.follow.empty()) noteNames(launch);
}

bool LaunchMaker::isToStop(const Launch& launch, const LaunchRecord& record,
                           double elapsedMs) const {
    const bool isLost = launch.shownName.verdict() != ShownName::Verdict::kOpen;
    return isInterrupted() || mustStop({record.phase(), elapsedMs, launch.command.hasEnded(),
                                        isLost, !mSettings.follow.empty()});
}

void LaunchMaker::noteNames(Launch& launch) {
    if (launch.hasNotedNames || launch.shownName.names().empty()) return;
    launch.hasNotedNames = true;
    mMeans.progress.note(notFoundYet(mFollowed, launch.shownName.names()));
}

// The library has taken its last sample of the launch by then.
void LaunchMaker::lookOn(Launch& launch) const {
    if (!launch.after) launch.after.emplace(launch.watch.recorded(), mSettings.lookAfterMs);
    if (!launch.after->hasEnded()) launch.after->look(steadyMs());
}

void LaunchMaker::lookAfter(Launch& launch) {
    lookOn(launch);
    LookAfter& after = *launch.after;
    while (!after.hasEnded() && !isInterrupted()) {
        sleepMs(std::max(0, static_cast<int>(std::ceil(after.nextMs() - steadyMs()))));
        after.look(steadyMs());
        launch.command.tend();
        mMeans.output.keepBounded();
        mMeans.progress.showLookAfter(after.lookedForMs(), after.limitMs());
    }
}

// While COMMAND still runs.
LaunchResult LaunchMaker::judge(Launch& launch) {
    const LaunchRecord record = launch.watch.record();
    LaunchResult result;
    result.commandEnded = launch.command.hasEnded();
    result.outcome = outcomeOf(record, {isInterrupted(), result.commandEnded});
    if (result.outcome == LaunchOutcome::kStored) result.endpointMs = record.endpointMs();
    result.countFailed = record.countFailed();
    if (record.storeFailed() || record.countFailed()) result.storeFault = storeFaultOf(record);
    if (record.ending() == LaunchEnding::kNotFound) return result;
    const pid_t sampled = mMeans.library.pid(mFollowed);
    result.changedWhileSampled = launch.growth.hasChanged(sampled);
    result.otherGrew = launch.growth.otherThan(sampled);
    return result;
}

// A launch that was stopped is not judged.
void LaunchMaker::assess(LaunchResult& result, Launch& launch) {
    if (!launch.watch.record().isAnalysed()) return;
    const RecordedLaunch recorded = launch.watch.recorded();
    result.judged.emplace(seenOf(recorded, launch.after ? launch.after->memoryKb() : Series()));
    result.assessment = assessmentOf(*result.judged, recorded, launch.command.releasedMs(),
                                     result.endpointMs.has_value());
}

bool LaunchMaker::showsOtherName(Launch& launch) const {
    return launch.shownName.verdict() == ShownName::Verdict::kOther && mMayFollowOther &&
           !launch.watch.record().isAnalysed() && !isInterrupted();
}

void LaunchMaker::followOtherName(const std::string& name) {
    mMayFollowOther = false;
    mFollowed = name;
    mMeans.progress.note("COMMAND shows the name '" + printable(name) + "'; the launches of " +
                         mSettings.package + " follow that");
}

std::string LaunchMaker::storeFaultOf(const LaunchRecord& record) const {
    const std::string& error = record.databaseError();
    if (error.empty()) return "it gave no reason; see " + mMeans.logFile;
    return describeStoreFault(error, mMeans.database,
                              "free the disk or make " + mMeans.database + " writable");
}

}  // namespace host
