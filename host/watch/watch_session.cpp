// Watches the top-app task list and reports each launch there to the library.
#include "host/watch/watch_session.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <limits>
#include <sys/resource.h>
#include <utility>

#include "host/base/exit_code.h"
#include "host/base/interruption.h"
#include "host/base/standard_streams.h"
#include "host/base/steady_clock.h"
#include "host/process/process_tree.h"

namespace host {
namespace {

constexpr int kFinishPeriodMs = 30;
constexpr std::uint64_t kPollsBetweenCleanings = 20;

double cpuTimeMs() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto ms = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
    };
    return ms(usage.ru_utime) + ms(usage.ru_stime);
}

Assessment assess(const EndedLaunch& ended, const SeenLaunch& seen, bool isStored) {
    if (ended.notLearned || !ended.record.isAnalysed()) return {};
    return assessmentOf(JudgedLaunch(seen), ended.recorded,
                        startedAtMs(ended.launch.app.startTicks), isStored);
}

// One descriptor is held per listed process.
void allowManyDescriptors() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace

WatchSession::WatchSession(const WatchOptions& options, const StateFolder& state, LogSink& log,
                           const LibraryOptions& library)
    : mOptions(options),
      mLog(log),
      mHistory(state.history()),
      mLocks(state.packageLocks()),
      mLibrary(library.followed(), state, log),
      mStore(state.database()),
      mTasks(kTaskListPath),
      mStartMs(steadyMs()),
      mStartCpuMs(cpuTimeMs()) {
    if (!isKernelTaskList(kTaskListPath)) mKeeper.emplace(kTaskListPath);
    allowManyDescriptors();
    mLog.setListener([this](const LogLine& line) { mLedger.take(line); });
}

WatchSession::~WatchSession() {
    mLog.setListener({});
}

void WatchSession::run() {
    try {
        while (!isInterrupted()) {
            poll();
            pause();
        }
    } catch (...) {
        finish();
        keepRest();
        throw;
    }
    finish();
    reportAll();
    tellCost();
}

void WatchSession::poll() {
    if (mPolls++ % kPollsBetweenCleanings == 0) dropGoneTasks();
    for (const AppProcess& app : mScan.look(mTasks.read()))
        send(app);
    stopLostHunt();
    takeEnded();
}

// Until the next look at the list. A look at a process takes some microseconds,
// which the library's thread, at its next launch, does not wait for.
void WatchSession::pause() {
    const double untilMs = steadyMs() + mOptions.intervalMs;
    while (!isInterrupted()) {
        lookAfter();
        double wakeMs = std::min(untilMs, countDescriptors());
        for (const LookedAfter& launch : mLookedAfter)
            wakeMs = std::min(wakeMs, launch.after.nextMs());
        sleepMs(std::max(1, static_cast<int>(std::ceil(wakeMs - steadyMs()))));
        if (steadyMs() >= untilMs) return;
    }
}

void WatchSession::send(const AppProcess& app) {
    SentLaunch launch{app, mOptions.rules.kindOf(app.package), unixMs(), std::nullopt};
    ++mLaunches;
    if (!takeLock(app.package)) {
        tell(launch, LaunchOutcome::kInUseElsewhere, std::nullopt, {});
        return;
    }
    launch.generation = mOptions.generationOf(app.package, mLibrary);
    mLedger.offer(launch);
    mLibrary.launch(app.package, launch.kind.type, launch.kind.subtype);
    mLedger.settleOffer();
}

// Of the launch that the library samples. When the next count is due.
double WatchSession::countDescriptors() {
    const std::optional<AppProcess> sampled =
        mLibrary.file().isHardened() ? mLedger.appIn(LaunchPhase::kSampling) : std::nullopt;
    if (!sampled || sampled->pid != mCounted) mFdCounts.reset();
    mCounted = sampled ? sampled->pid : 0;
    if (!sampled) return std::numeric_limits<double>::infinity();
    if (!mFdCounts) mFdCounts.emplace(mLibrary, sampled->package);
    mFdCounts->take(steadyMs());
    return mFdCounts->nextMs();
}

bool WatchSession::takeLock(const std::string& package) {
    if (mLocks.take(package)) return true;
    sayLine("a launch of " + package + " is not learned: " + mLocks.describeHolder(package) +
            " is learning or erasing it");
    return false;
}

// The library looks for a process for a minute, and learns no other launch
// meanwhile.
void WatchSession::stopLostHunt() {
    const std::optional<AppProcess> hunted = mLedger.appIn(LaunchPhase::kHunting);
    if (!hunted || steadyMs() - mLastStopMs < kStopRepeatMs || hunted->isAlive()) return;
    mLibrary.stop(hunted->package);
    mLastStopMs = steadyMs();
}

void WatchSession::takeEnded() {
    for (EndedLaunch& ended : mLedger.takeEnded()) {
        LaunchCircumstances circumstances;
        circumstances.interrupted = isInterrupted();
        circumstances.commandEnded = !ended.launch.app.isAlive();
        const LaunchOutcome outcome =
            ended.notLearned ? *ended.notLearned : outcomeOf(ended.record, circumstances);
        LookAfter after(ended.recorded, mOptions.lookAfterMs);
        mLookedAfter.push_back({std::move(ended), outcome, std::move(after)});
    }
    lookAfter();
}

void WatchSession::lookAfter() {
    for (auto launch = mLookedAfter.begin(); launch != mLookedAfter.end();) {
        if (!launch->after.hasEnded() && launch->after.nextMs() <= steadyMs())
            launch->after.look(steadyMs());
        const auto next = std::next(launch);
        if (launch->after.hasEnded()) report(launch);
        launch = next;
    }
}

void WatchSession::reportAll() {
    takeEnded();
    while (!mLookedAfter.empty())
        report(mLookedAfter.begin());
}

// What the store has of them goes into the history and the dumps too, although nobody
// is told any more.
void WatchSession::keepRest() {
    mIsTelling = false;
    try {
        reportAll();
    } catch (const HostError& error) {
        sayLine(error.what());
    }
}

void WatchSession::report(std::list<LookedAfter>::iterator looked) {
    // Taken out first: what fails from here on is not reported twice.
    std::list<LookedAfter> one;
    one.splice(one.end(), mLookedAfter, looked);
    const LookedAfter& launch = one.front();
    const EndedLaunch& ended = launch.ended;
    const std::string& package = ended.launch.app.package;
    if (ended.record.countFailed()) {
        sayLine("the store did not count a launch of " + package +
                "; orvo.log in the state folder says why");
    }
    const auto endpointMs =
        launch.outcome == LaunchOutcome::kStored ? ended.record.endpointMs() : std::nullopt;
    const SeenLaunch seen = seenOf(ended.recorded, launch.after.memoryKb());
    const Assessment assessment = assess(ended, seen, endpointMs.has_value());
    if (mOptions.keep) mOptions.keep({ended, seen, endpointMs, assessment});
    tell(ended.launch, launch.outcome, endpointMs, assessment);
    mLocks.drop(package);
}

void WatchSession::tell(const SentLaunch& launch, LaunchOutcome outcome,
                        std::optional<std::int32_t> endpointMs, const Assessment& assessment) {
    LaunchEntry entry{launch.atUnixMs,     "watch",
                      launch.app.package,  launch.kind.type,
                      launch.kind.subtype, outcomeText(outcome),
                      endpointMs,          storedEndpointMs(launch.app.package),
                      assessment};
    if (launch.generation) {
        entry.generation = launch.generation->number;
        entry.label = launch.generation->label;
    }
    mHistory.note(entry);
    if (mIsTelling) mOptions.tell(entry);
}

// Not from the library, which goes on answering what it has learned itself when
// another process has erased it.
std::optional<std::int32_t> WatchSession::storedEndpointMs(const std::string& package) {
    try {
        return mStore.package(package).finalEndpointMs();
    } catch (const HostError& error) {
        sayLine(error.what());
        return std::nullopt;
    }
}

// A process that ended without its joiner's help stays in an ordinary file, and
// would pass its place on to whoever gets its number.
void WatchSession::dropGoneTasks() {
    try {
        if (mKeeper) mKeeper->keep({}, 0);
    } catch (const HostError&) {
        // Locked, or full: the next attempt follows, and whoever joins is told.
    }
}

void WatchSession::finish() {
    const double giveUpMs = steadyMs() + kStopLimitMs;
    double lastStopMs = 0;
    while (mLedger.isBusy() && steadyMs() < giveUpMs) {
        if (steadyMs() - lastStopMs >= kStopRepeatMs) {
            mLibrary.stop("-");  // any name: there is one launch in hand
            lastStopMs = steadyMs();
        }
        sleepMs(kFinishPeriodMs);
    }
    mLedger.abandonWaiting();
}

void WatchSession::tellCost() const {
    const double elapsedMs = steadyMs() - mStartMs;
    std::fprintf(
        stderr, "orvo-host: cost: %.2f %% of a core over %.1f s, %llu polls, %llu launches\n",
        100 * (cpuTimeMs() - mStartCpuMs) / std::max(elapsedMs, 1.0), elapsedMs / 1000,
        static_cast<unsigned long long>(mPolls), static_cast<unsigned long long>(mLaunches));
}

}  // namespace host
