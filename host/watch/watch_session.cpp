// Watches the top-app task list and tells the library of each launch there.
#include "host/watch/watch_session.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <sys/resource.h>

#include "host/base/exit_code.h"
#include "host/base/interruption.h"
#include "host/base/steady_clock.h"

namespace host {
namespace {

constexpr int kFinishPeriodMs = 30;
constexpr std::uint64_t kPollsBetweenCleanings = 20;

volatile std::sig_atomic_t costIsWanted = 0;

void onCostSignal(int) {
    costIsWanted = 1;
}

double cpuTimeMs() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto ms = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
    };
    return ms(usage.ru_utime) + ms(usage.ru_stime);
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
                           std::uint32_t logLevel)
    : mOptions(options),
      mLog(log),
      mHistory(state.history()),
      mLibrary(state, log, std::max(logLevel, kFollowingLevel)),
      mTasks(kTaskListPath),
      mStartMs(steadyMs()),
      mStartCpuMs(cpuTimeMs()) {
    if (!isKernelTaskList(kTaskListPath)) mKeeper.emplace(kTaskListPath);
    allowManyDescriptors();
    std::signal(SIGUSR1, onCostSignal);
    mLog.setListener([this](const LogLine& line) { mLedger.take(line); });
}

WatchSession::~WatchSession() {
    mLog.setListener({});
}

void WatchSession::run() {
    try {
        while (!isInterrupted()) {
            poll();
            if (costIsWanted != 0) tellCost();
            costIsWanted = 0;
            sleepMs(mOptions.intervalMs);
        }
    } catch (...) {
        finish();
        throw;
    }
    finish();
    reportEnded();
    tellCost();
}

void WatchSession::poll() {
    if (mPolls++ % kPollsBetweenCleanings == 0) dropGoneTasks();
    for (const AppProcess& app : mScan.look(mTasks.read()))
        send(app);
    stopLostHunt();
    reportEnded();
}

void WatchSession::send(const AppProcess& app) {
    const LaunchKind kind = mOptions.rules.kindOf(app.package);
    ++mLaunches;
    mLedger.offer({app, kind, unixMs()});
    mLibrary.launch(app.package, kind.type, kind.subtype);
    mLedger.settleOffer();
}

// The library looks for a process for a minute, and learns no other launch
// meanwhile.
void WatchSession::stopLostHunt() {
    const std::optional<AppProcess> hunted = mLedger.hunted();
    if (!hunted || steadyMs() - mLastStopMs < kStopRepeatMs || hunted->isAlive()) return;
    mLibrary.stop(hunted->package);
    mLastStopMs = steadyMs();
}

void WatchSession::reportEnded() {
    for (const EndedLaunch& ended : mLedger.takeEnded())
        report(ended);
}

void WatchSession::report(const EndedLaunch& ended) {
    const SentLaunch& launch = ended.launch;
    LaunchCircumstances circumstances;
    circumstances.interrupted = isInterrupted();
    circumstances.commandEnded = !launch.app.isAlive();
    if (ended.record.countFailed()) {
        std::fprintf(stderr,
                     "orvo-host: the store did not count a launch of %s; orvo.log in the state "
                     "folder says why\n",
                     launch.app.package.c_str());
    }
    const LaunchOutcome outcome =
        ended.notLearned ? *ended.notLearned : outcomeOf(ended.record, circumstances);

    LaunchEntry entry{launch.atUnixMs,     "watch",
                      launch.app.package,  launch.kind.type,
                      launch.kind.subtype, outcomeText(outcome),
                      std::nullopt,        std::nullopt};
    if (outcome == LaunchOutcome::kStored) entry.endpointMs = ended.record.endpointMs();
    const std::int32_t finalMs = mLibrary.finalEndpointMs(launch.app.package);
    if (finalMs > 0) entry.finalEndpointMs = finalMs;
    mHistory.note(entry);
    mOptions.tell(entry);
    if (mOptions.keep) mOptions.keep(ended);
}

// A process that ended without its joiner's help stays in an ordinary file, and
// would pass its place on to whoever gets its number.
void WatchSession::dropGoneTasks() {
    if (mKeeper) mKeeper->keep({});
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
