// A launch that the library is not told of.
#include "host/learn/probing_launch.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "host/base/interruption.h"
#include "host/base/steady_clock.h"
#include "host/library/launch_record.h"
#include "host/process/process_look.h"
#include "host/state/history.h"

namespace host {
namespace {

constexpr double kJudgePeriodMs = 240;  // a judgement takes up to 9 ms

}  // namespace

ProbingLaunch::ProbingLaunch(const CommandLine& command, const CommandOutput& output,
                             std::string follow, bool isGiven, Progress& progress)
    : mOutput(output),
      mIsGiven(isGiven),
      mProgress(progress),
      mFollowed(std::move(follow)),
      mCommand(command, output.fd()),
      mShownName(mFollowed) {}

std::optional<ProbeSight> ProbingLaunch::look() {
    mLaunchedAtUnixMs = unixMs();
    mCommand.release();
    const double startMs = mCommand.releasedMs();
    double dueMs = startMs;
    do {
        dueMs = std::max(dueMs + kSampleMs, steadyMs());
        sleepMs(static_cast<int>(std::ceil(dueMs - steadyMs())));
        mOutput.keepBounded();
        lookOnce(steadyMs() - startMs);
        mProgress.showProbe(steadyMs() - startMs);
    } while (!mSight && !isOver(steadyMs() - startMs));
    mCommand.end();
    return mSight;
}

bool ProbingLaunch::isOver(double nowMs) const {
    if (isInterrupted() || mIsLost) return true;
    return !mProcess && (mCommand.hasEnded() || nowMs > kHuntLimitMs);
}

void ProbingLaunch::lookOnce(double nowMs) {
    if (!mProcess) return lookForName(nowMs);
    mCommand.reap();
    const std::vector<ProcessLook> own = lookAt({*mProcess});
    if (own.empty()) return judge(true);
    mMemory.take(nowMs, own);
    if (nowMs - mJudgedMs < kJudgePeriodMs) return;
    mJudgedMs = nowMs;
    judge(false);
}

void ProbingLaunch::lookForName(double nowMs) {
    mCommand.tend();
    const std::vector<ProcessLook> tree = lookAt(mCommand.processes());
    mMemory.take(nowMs, tree);
    mShownName.take(nowMs, tree);
    if (!mIsGiven && mShownName.verdict() == ShownName::Verdict::kOther) {
        mFollowed = mShownName.name();
    }
    mProcess = mMemory.processOf(mFollowed);
    if (mProcess) return;
    mIsLost = mIsGiven ? nowMs > kHuntLimitMs : mShownName.verdict() == ShownName::Verdict::kNone;
    if (!mIsGiven || nowMs < kNameNoteAfterMs || mHasNotedNames || namesShown().empty()) return;
    mHasNotedNames = true;
    mProgress.note(notFoundYet(mFollowed, namesShown()));
}

void ProbingLaunch::judge(bool isLast) {
    Series memoryKb = mMemory.memoryOf(*mProcess);
    const auto choice = chooseWindow(memoryKb, isLast);
    if (!choice) return;
    mSight = ProbeSight{*choice, mMemory.firstMs(*mProcess), isLast, std::move(memoryKb),
                        mLaunchedAtUnixMs};
}

}  // namespace host
