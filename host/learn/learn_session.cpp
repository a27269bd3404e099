// Learns one package, launch by launch.
#include "host/learn/learn_session.h"

#include <algorithm>

#include "host/base/exit_code.h"
#include "host/base/interruption.h"
#include "host/base/printable.h"
#include "host/base/steady_clock.h"
#include "host/library/fd_counts.h"
#include "host/state/history.h"

namespace host {
namespace {

constexpr std::chrono::milliseconds kLookPeriod{30};
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

LearnSession::LearnSession(const LearnOptions& options, const StateFolder& state, LogSink& log,
                           std::uint32_t logLevel, Progress& progress)
    : mOptions(options),
      mState(state),
      mLog(log),
      mProgress(progress),
      mLibrary(state, log, std::max(logLevel, kFollowingLevel)),
      mStore(state.database()) {}

LearnReport LearnSession::run() {
    checkStore();
    LearnReport report;
    report.package = mOptions.package;
    for (int number = 1; number <= mOptions.launches; ++number) {
        if (isInterrupted() || mLibrary.finalEndpointMs(mOptions.package) > 0) break;
        mProgress.beginLaunch(number);
        const std::int64_t launchedAtUnixMs = unixMs();
        report.launches.push_back(learnOnce());
        note(report.launches.back(), launchedAtUnixMs);
        mProgress.endLaunch(renderResult(report.launches.back()));
        if (endsSession(report.launches.back().outcome)) break;
    }
    const std::int32_t finalMs = mLibrary.finalEndpointMs(mOptions.package);
    if (finalMs > 0) report.finalEndpointMs = finalMs;
    const StoredPackage stored = mStore.package(mOptions.package);
    report.samplesStored = static_cast<int>(stored.launchEndpointsMs.size());
    report.otherName = mOtherName;
    return report;
}

void LearnSession::checkStore() {
    if (!mStore.package(mOptions.package).isDamaged()) return;
    throw HostError(kEnvironment, "what " + mState.database() + " holds of " + mOptions.package +
                                      " is damaged; run: orvo-host erase " + mOptions.package);
}

// The process stands ready before the library hears of the launch, and runs
// right after: so the library's clock and the program's start together, and
// the time that the store takes to count the launch belongs to neither.
LaunchResult LearnSession::learnOnce() {
    const std::size_t rowsBefore = mStore.package(mOptions.package).launchEndpointsMs.size();
    LaunchedCommand command(mOptions.command, mState.commandOutput());
    LaunchWatch watch(mLog);
    mLibrary.launch(mOptions.package, mOptions.type, mOptions.subtype);
    if (watch.record().phase() != LaunchPhase::kEnded) follow(watch, command);
    command.tend();
    const bool commandEnded = command.hasEnded();
    command.end();
    return judge(watch.record(), commandEnded, rowsBefore);
}

// Whatever goes wrong, the library is given time to end the launch: shutting
// down while the learning thread is at work would pull the series from under it.
void LearnSession::follow(LaunchWatch& watch, LaunchedCommand& command) {
    try {
        command.release();
        awaitEnd(watch, command);
    } catch (...) {
        const double giveUpMs = steadyMs() + kStopLimitMs;
        while (steadyMs() < giveUpMs) {
            mLibrary.stop(mOptions.package);
            if (watch.waitForEnd(std::chrono::milliseconds(kStopRepeatMs))) break;
        }
        throw;
    }
}

void LearnSession::awaitEnd(LaunchWatch& watch, LaunchedCommand& command) {
    const double startMs = steadyMs();
    double firstStopMs = 0;
    double lastStopMs = 0;
    FdCounts fdCounts(mLibrary, mOptions.package);
    while (!watch.waitForEnd(kLookPeriod)) {
        const double nowMs = steadyMs();
        const LaunchRecord record = watch.record();
        if (mOptions.fdCounts && record.phase() == LaunchPhase::kSampling) fdCounts.take();
        command.tend();
        mProgress.show(record);
        if (nowMs - startMs > kNameNoteAfterMs) noteName(record, command);
        if (firstStopMs > 0 && nowMs - firstStopMs > kStopLimitMs) {
            throw HostError(kEnvironment,
                            "the library does not end the launch; see " + mState.log());
        }
        const bool isDue = nowMs - lastStopMs > kStopRepeatMs;
        if (isDue && mustStop(record, command, nowMs - startMs)) {
            mLibrary.stop(mOptions.package);
            lastStopMs = nowMs;
            if (firstStopMs <= 0) firstStopMs = nowMs;
        }
    }
}

bool LearnSession::mustStop(const LaunchRecord& record, const LaunchedCommand& command,
                            double elapsedMs) {
    if (isInterrupted() || elapsedMs > kLaunchLimitMs) return true;
    return record.phase() == LaunchPhase::kHunting && command.hasEnded();
}

// A hunt that takes this long is mostly one for a name that the process never
// shows, such as that of a script, which its interpreter replaces.
void LearnSession::noteName(const LaunchRecord& record, const LaunchedCommand& command) {
    if (!mOtherName.empty() || record.phase() != LaunchPhase::kHunting) return;
    const std::string name = shownName(command.pid());
    if (name.empty() || name == mOptions.package) return;
    mOtherName = name;
    mProgress.note("not found yet: its name is '" + printable(name) + "', not '" +
                   mOptions.package + "'; " + kNameRemedy);
}

LaunchResult LearnSession::judge(const LaunchRecord& record, bool commandEnded,
                                 std::size_t rowsBefore) {
    LaunchCircumstances circumstances;
    circumstances.interrupted = isInterrupted();
    circumstances.commandEnded = commandEnded;
    const StoredPackage stored = mStore.package(mOptions.package);
    circumstances.storeHasIt =
        stored.launchEndpointsMs.size() == rowsBefore + 1 || stored.finalEndpointMs().has_value();
    const LaunchOutcome outcome = outcomeOf(record, circumstances);
    const bool isStored = outcome == LaunchOutcome::kStored;
    return {outcome, isStored ? record.endpointMs() : std::nullopt};
}

void LearnSession::note(const LaunchResult& result, std::int64_t launchedAtUnixMs) {
    LaunchEntry entry{launchedAtUnixMs,  "learn",          mOptions.package,
                      mOptions.type,     mOptions.subtype, outcomeText(result.outcome),
                      result.endpointMs, std::nullopt};
    const std::int32_t finalMs = mLibrary.finalEndpointMs(mOptions.package);
    if (finalMs > 0) entry.finalEndpointMs = finalMs;
    History(mState.history()).note(entry);
}

int exitCodeOf(const LearnReport& report) {
    if (report.finalEndpointMs) return kDone;
    return isInterrupted() ? kInterrupted : kNotLearned;
}

}  // namespace host
