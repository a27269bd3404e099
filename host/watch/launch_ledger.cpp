// Keeps account of the launches that were sent to the library, by its log lines.
#include "host/watch/launch_ledger.h"

#include <algorithm>
#include <utility>

#include "host/base/steady_clock.h"
#include "host/library/log_messages.h"

namespace host {
void LaunchLedger::offer(const SentLaunch& launch) {
    const std::lock_guard<std::mutex> lock(mMutex);
    mOffered = EndedLaunch{launch, std::nullopt, {}, {}};
}

// The library wakes its thread for every launch but those of a learned package.
void LaunchLedger::settleOffer() {
    const std::lock_guard<std::mutex> lock(mMutex);
    if (mOffered) end(*mOffered, LaunchOutcome::kAlreadyLearned);
    mOffered.reset();
}

void LaunchLedger::take(const LogLine& line) {
    const std::lock_guard<std::mutex> lock(mMutex);
    if (startsWith(line.message, log::kTaken)) {
        begin(line.message.substr(log::kTaken.size()), line);
    } else if (mOffered && line.function == log::kCountingFunction) {
        mOffered->record.take(line);
    } else if (line.tag != log::kEntryTag) {
        follow(line);
    } else if (mOffered && startsWith(line.message, log::kWakingThread)) {
        mWaiting.push_back(*std::exchange(mOffered, std::nullopt));
    } else if (mOffered && startsWith(line.message, log::kLimitErased)) {
        end(*std::exchange(mOffered, std::nullopt), LaunchOutcome::kLimitReached);
    }
}

// The newest of that name: the library logs that it wakes its thread before it
// replaces what waits, so the one taken need not be the last.
void LaunchLedger::begin(std::string_view package, const LogLine& line) {
    const auto newest =
        std::find_if(mWaiting.rbegin(), mWaiting.rend(),
                     [&](const EndedLaunch& sent) { return sent.launch.app.package == package; });
    if (newest == mWaiting.rend()) return;
    const auto taken = std::prev(newest.base());
    for (auto it = mWaiting.begin(); it != taken; ++it)
        end(*it, LaunchOutcome::kSuperseded);
    mCurrent = *taken;
    mCurrent->record.take(line);
    mRecorder.take(line, steadyMs());
    mWaiting.erase(mWaiting.begin(), newest.base());
}

void LaunchLedger::follow(const LogLine& line) {
    if (!mCurrent) return;
    mCurrent->record.take(line);
    mRecorder.take(line, steadyMs());
    if (mCurrent->record.phase() != LaunchPhase::kEnded) return;
    mCurrent->recorded = mRecorder.launch();
    mEnded.push_back(*std::exchange(mCurrent, std::nullopt));
}

void LaunchLedger::end(EndedLaunch launch, LaunchOutcome notLearned) {
    launch.notLearned = notLearned;
    mEnded.push_back(std::move(launch));
}

std::vector<EndedLaunch> LaunchLedger::takeEnded() {
    const std::lock_guard<std::mutex> lock(mMutex);
    return std::exchange(mEnded, {});
}

void LaunchLedger::abandonWaiting() {
    const std::lock_guard<std::mutex> lock(mMutex);
    for (const EndedLaunch& launch : mWaiting)
        end(launch, LaunchOutcome::kInterrupted);
    mWaiting.clear();
}

bool LaunchLedger::isBusy() {
    const std::lock_guard<std::mutex> lock(mMutex);
    return mCurrent || !mWaiting.empty();
}

std::optional<AppProcess> LaunchLedger::appIn(LaunchPhase phase) {
    const std::lock_guard<std::mutex> lock(mMutex);
    if (!mCurrent || mCurrent->record.phase() != phase) return std::nullopt;
    return mCurrent->launch.app;
}

}  // namespace host
