// Goes on sampling a launch's memory where the library has stopped.
#include "host/library/look_after.h"

#include <algorithm>
#include <cmath>
#include <fcntl.h>
#include <unistd.h>

#include "host/process/proc_file.h"
#include "host/process/process_look.h"

namespace host {
namespace {

constexpr std::size_t kLongestStatus = 8192;  // one of 64 CPUs and all its lines has 1.5 KB

// A long launch is decided within it, and grows on within it where it was decided
// at a rest.
double windowMs(const RecordedLaunch& launch) {
    return static_cast<double>(timeMs(static_cast<std::int64_t>(launch.sampleBudget)));
}

}  // namespace

LookAfter::LookAfter(const RecordedLaunch& launch, std::optional<double> limitMs)
    : mLimitMs(limitMs.value_or(windowMs(launch))) {
    const bool isEnded = !launch.isAborted && !launch.evaluations.empty();
    if (!isEnded || launch.sampledAtMs.empty() || mLimitMs <= 0) return;
    mStatus = openProcFile(procPath(launch.process, "status"));
    mLastMs = launch.sampledAtMs.back();
    mLastKb = launch.series[Metric::kVmRss].back();
}

void LookAfter::look(double nowMs) {
    char text[kLongestStatus];
    const ssize_t length = pread(mStatus.get(), text, sizeof text, 0);
    const auto seen =
        length < 1 ? std::nullopt : parseProcessStatus({text, static_cast<std::size_t>(length)});
    if (!seen) return mStatus.reset();
    addLook(mMemoryKb, mLastKb, nowMs - mLastMs, static_cast<std::int32_t>(seen->memoryKb));
}

double LookAfter::lookedForMs() const {
    return static_cast<double>(timeMs(static_cast<std::int64_t>(mMemoryKb.size())));
}

double LookAfter::nextMs() const {
    return mLastMs + lookedForMs() + static_cast<double>(kSamplePeriodMs);
}

void addLook(Series& memoryKb, std::int32_t beforeKb, double behindMs, std::int32_t kb) {
    const auto period = static_cast<std::size_t>(
        std::lround(std::max(0.0, behindMs) / static_cast<double>(kSamplePeriodMs)));
    if (period <= memoryKb.size()) return;
    const std::size_t known = memoryKb.size();
    const std::int32_t fromKb = memoryKb.empty() ? beforeKb : memoryKb.back();
    const double stepKb = static_cast<double>(kb - fromKb) / static_cast<double>(period - known);
    for (std::size_t i = 1; i <= period - known; ++i)
        memoryKb.push_back(fromKb +
                           static_cast<std::int32_t>(std::lround(stepKb * static_cast<double>(i))));
}

}  // namespace host
