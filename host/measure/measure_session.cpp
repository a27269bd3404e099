// Measures the launches of one command, or of two that alternate.
#include "host/measure/measure_session.h"

#include <algorithm>

#include "host/base/exit_code.h"
#include "host/base/interruption.h"
#include "host/measure/kept_launch.h"
#include "host/measure/machine.h"
#include "host/process/shell.h"
#include "host/state/history.h"

namespace host {

std::string libraryText(const LibraryFile& library, bool fdCounts) {
    return library.origin() +
           (library.isHardened() && !fdCounts ? ", without descriptor counts" : "");
}

std::vector<SettledTimes> settledTimes(const Results& results) {
    std::vector<SettledTimes> times(results.size());
    for (std::size_t i = 0; i < results.size(); ++i) {
        for (const MeasuredLaunch& launch : results[i].launches) {
            if (launch.settledMs()) times[i].push_back(*launch.settledMs());
        }
    }
    return times;
}

MeasureSession::MeasureSession(const MeasureOptions& options, const StateFolder& store,
                               const StateFolder& state, const CommandOutput& output, LogSink& log,
                               const LibraryOptions& library, Progress& progress)
    : mOptions(options),
      mOutput(output),
      mProgress(progress),
      mLibrary(library.followed(), store, log),
      mChance(std::random_device{}()) {
    const LaunchMeans means{mLibrary, log, output, progress, state.log(), store.database()};
    for (const LaunchSettings& settings : options.commands)
        mMakers.emplace_back(settings, means);
}

MeasureReport MeasureSession::run() {
    for (std::size_t i = 0; i < mMakers.size(); ++i) {
        Measurement& measurement = mReport.results.emplace_back();
        measurement.name = mOptions.commands[i].package;
        measurement.command = mOptions.words[i];
        measurement.measuredAtUnixMs = unixMs();
        measurement.machine = thisMachine();
        measurement.machine.library = libraryText(mLibrary.file(), mOptions.commands[i].fdCounts);
    }
    mReport.seen.resize(mMakers.size());
    if (!makeAll()) {
        mReport.end = isInterrupted() ? MeasureEnd::kInterrupted : MeasureEnd::kCannotGoOn;
    }
    return finish();
}

// What was measured before counts in spite of what went wrong after it.
bool MeasureSession::makeAll() {
    try {
        return chooseKind() && makeRuns();
    } catch (const HostError& error) {
        mReport.fault = error;
        return false;
    }
}

MeasureReport MeasureSession::finish() {
    for (std::size_t i = 0; i < mMakers.size(); ++i) {
        LearnReport& seen = mReport.seen[i];
        seen.package = mOptions.commands[i].package;
        seen.kind = mKind;
        seen.followed = mMakers[i].followed();
        seen.followedWasSeen = mMakers[i].followedWasSeen();
        seen.namesShown = mMakers[i].namesShown();
        mReport.results[i].kind = mKind;
    }
    return std::move(mReport);
}

// Times of different windows cannot be compared, so both take the longer one.
bool MeasureSession::chooseKind() {
    if (mOptions.kind) {
        mKind = *mOptions.kind;
        return true;
    }
    Window window = Window::kShort;
    for (std::size_t i = 0; i < mMakers.size(); ++i) {
        const std::optional<Window> asked = probe(i);
        if (!asked) return false;
        window = std::max(window, *asked);
    }
    mKind = kindOf(window);
    mProgress.tell("measuring with " + windowText(window));
    return true;
}

std::optional<Window> MeasureSession::probe(std::size_t command) {
    const std::string title = titleOf(kProbingTitle, command);
    if (!prepare(title)) return std::nullopt;
    const Probing probing = mMakers[command].probe(title);
    cleanUp();
    if (isInterrupted()) return std::nullopt;
    if (probing.isLost) {
        mReport.seen[command].launches.emplace_back().outcome = LaunchOutcome::kNotFound;
        mProgress.endLaunch(outcomeText(LaunchOutcome::kNotFound));
        return std::nullopt;
    }
    mProgress.endLaunch(probing.sight ? findingText(*probing.sight)
                                      : "COMMAND ended before its process was found");
    return probing.sight ? probing.sight->choice.window : Window::kShort;
}

bool MeasureSession::makeRuns() {
    if (!makeWarmups()) return false;
    while (true) {
        const int run = ++mReport.runs;
        if (!runAll(run, runTitle(run, mOptions.plan))) return false;
        const auto end = endAfter(run, mOptions.plan, settledTimes(mReport.results));
        if (!end) continue;
        mReport.end = *end;
        return true;
    }
}

bool MeasureSession::makeWarmups() {
    const int warmups = mOptions.plan.warmups;
    for (int i = 1; i <= warmups; ++i) {
        const std::string title = "warm-up " + std::to_string(i) + '/' + std::to_string(warmups);
        if (!runAll(0, title)) return false;
    }
    return true;
}

// In random order, so that what happens at every second launch hits both.
bool MeasureSession::runAll(int run, const std::string& title) {
    std::vector<std::size_t> order;
    for (std::size_t i = 0; i < mMakers.size(); ++i)
        order.push_back(i);
    std::shuffle(order.begin(), order.end(), mChance);
    return std::all_of(order.begin(), order.end(), [&](std::size_t command) {
        return runOne(command, run, titleOf(title, command));
    });
}

// False when no more runs can be made. A launch that only shows which name to follow is
// made again.
bool MeasureSession::runOne(std::size_t command, int run, const std::string& title) {
    std::optional<MadeLaunch> launch;
    while (!launch) {
        if (isInterrupted()) return false;
        if (!prepare(title)) return !isInterrupted();
        launch = launchOnce(command, run, title);
        cleanUp();
    }
    if (launch->result.outcome != LaunchOutcome::kInterrupted) keep(command, run, *launch);
    return !endsSession(launch->result.outcome);
}

// The library samples no package that it has learned, so that it has to forget each launch.
std::optional<MadeLaunch> MeasureSession::launchOnce(std::size_t command, int run,
                                                     const std::string& title) {
    mLibrary.erase(mOptions.commands[command].package);
    return mMakers[command].tryOnce({title, mKind, phaseMs(run)});
}

void MeasureSession::keep(std::size_t command, int run, const MadeLaunch& launch) {
    const MeasuredLaunch kept = measuredLaunch(run, launch);
    mProgress.endLaunch(resultText(kept));
    const bool isWarmup = run == 0;
    if (isWarmup && !endsSession(launch.result.outcome)) return;
    mReport.seen[command].launches.push_back(launch.result);
    if (!isWarmup) mReport.results[command].launches.push_back(kept);
}

bool MeasureSession::prepare(const std::string& title) {
    if (mOptions.prepare.empty()) return true;
    mOutput.keepBounded();
    const int code = runShell(mOptions.prepare, mOutput.fd());
    if (isInterrupted()) return false;
    if (code == 0) return true;
    ++mReport.prepare.times;
    mReport.prepare.lastCode = code;
    mProgress.tell(title + ": not made, for --prepare ended with code " + std::to_string(code));
    return false;
}

void MeasureSession::cleanUp() {
    if (mOptions.cleanup.empty()) return;
    mOutput.keepBounded();
    const int code = runShell(mOptions.cleanup, mOutput.fd());
    if (code == 0 || isInterrupted()) return;
    ++mReport.cleanup.times;
    mReport.cleanup.lastCode = code;
    mProgress.note("--cleanup ended with code " + std::to_string(code));
}

std::string MeasureSession::titleOf(const std::string& title, std::size_t command) const {
    if (mMakers.size() == 1) return title;
    return title + (command == 0 ? ", COMMAND" : ", --against");
}

}  // namespace host
