// Learns one package, launch by launch.
#include "host/learn/learn_session.h"

#include <algorithm>

#include "host/base/exit_code.h"
#include "host/base/interruption.h"
#include "host/base/standard_streams.h"
#include "host/state/history.h"

namespace host {

LearnSession::LearnSession(const LearnOptions& options, const StateFolder& state,
                           const CommandOutput& output, LogSink& log, const LibraryOptions& library,
                           Progress& progress)
    : mOptions(options),
      mPackage(options.settings.package),
      mState(state),
      mProgress(progress),
      mLibrary(library.followed(), state, log),
      mStore(state.database()),
      mMaker(options.settings, {mLibrary, log, output, progress, state.log(), state.database()}) {}

LearnReport LearnSession::run() {
    mGeneration = mOptions.begin(mLibrary);
    checkStore();
    LearnReport report;
    report.package = mPackage;
    report.launchesAsked = mOptions.launches;
    if (!isDone()) chooseKind(report);
    while (report.kind && report.launches.size() < static_cast<std::size_t>(mOptions.launches)) {
        if (isDone()) break;
        report.launches.push_back(learnOnce(report.launches.size() + 1));
        mProgress.endLaunch(renderResult(report.launches.back()));
        if (endsSession(report.launches.back().outcome)) break;
    }
    const std::int32_t finalMs = mLibrary.finalEndpointMs(mPackage);
    if (finalMs > 0) report.finalEndpointMs = finalMs;
    const StoredPackage stored = mStore.package(mPackage);
    report.samplesStored = static_cast<int>(stored.launchEndpointsMs.size());
    report.followed = mMaker.followed();
    report.followedWasSeen = mMaker.followedWasSeen();
    report.namesShown = mMaker.namesShown();
    report.inheritance = inheritedFrom(latestOf(report));
    return report;
}

bool LearnSession::isDone() {
    return isInterrupted() || mLibrary.finalEndpointMs(mPackage) > 0;
}

// Launches of different windows make a mean that means nothing.
void LearnSession::chooseKind(LearnReport& report) {
    const std::size_t stored = mStore.package(mPackage).launchEndpointsMs.size();
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

// Of the launches stored. What cannot be read of the history is reported at the end.
std::optional<LaunchKind> LearnSession::kindBefore() const {
    try {
        const HistoryContents history = History(mState.history()).read();
        const PackageHistory& package = history.of(mPackage, mGeneration.number);
        const LaunchKind kind{package.type, package.subtype};
        if (launchKindFault(kind).empty()) return kind;
    } catch (const HostError&) {
    }
    return std::nullopt;
}

// What keeps it from showing a window keeps the launches from being learned, and they
// explain it better, except for a name that nobody shows, which takes them a minute.
void LearnSession::probe(LearnReport& report) {
    const Probing probing = mMaker.probe(kProbingTitle);
    report.probe = probing.sight;
    if (report.probe && mOptions.keepProbe) mOptions.keepProbe(*report.probe);
    if (isInterrupted()) return;
    if (probing.isLost) {
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

// A history that cannot be read is not a failure, nor is one that cannot be written;
// then this session's launches are all that is known.
std::deque<Assessment> LearnSession::latestOf(const LearnReport& report) const {
    try {
        return History(mState.history()).read().of(mPackage, mGeneration.number).latest;
    } catch (const HostError& error) {
        sayLine(error.what());
    }
    std::deque<Assessment> latest;
    for (const LaunchResult& launch : report.launches) {
        if (launch.endpointMs) latest.push_back(launch.assessment);
    }
    return latest;
}

void LearnSession::checkStore() {
    if (!mStore.package(mPackage).isDamaged()) return;
    throw HostError(kEnvironment, "what " + mState.database() + " holds of " + mPackage +
                                      " is damaged; run: orvo-host erase " + mPackage);
}

LaunchResult LearnSession::learnOnce(std::size_t number) {
    const std::string title =
        "launch " + std::to_string(number) + '/' + std::to_string(mOptions.launches);
    const MadeLaunch launch = mMaker.make({title, mKind});
    note(launch.result, launch.launchedAtUnixMs);
    if (mOptions.keep) mOptions.keep(launch);
    return launch.result;
}

void LearnSession::note(const LaunchResult& result, std::int64_t launchedAtUnixMs) {
    LaunchEntry entry{launchedAtUnixMs,   "learn",          mPackage,
                      mKind.type,         mKind.subtype,    outcomeText(result.outcome),
                      result.endpointMs,  std::nullopt,     result.assessment,
                      mGeneration.number, mGeneration.label};
    const std::int32_t finalMs = mLibrary.finalEndpointMs(mPackage);
    if (finalMs > 0) entry.finalEndpointMs = finalMs;
    History(mState.history()).note(entry);
}

}  // namespace host
