// When what happened in a recorded launch.
#include "host/export/moments.h"

#include <algorithm>

namespace host {

Moments::Moments(const DumpedLaunch& launch) : mLaunch(launch), mTime({&launch}) {}

// The library counts 30 ms a sample, however long its samples took.
std::optional<double> Moments::firstLookMs() const {
    if (!isSinceStart() || !mLaunch.note->endpointMs || !mLaunch.finalIndex()) return std::nullopt;
    const std::int64_t huntTimeMs = *mLaunch.note->endpointMs - timeMs(*mLaunch.finalIndex());
    return sampleMs(0) - static_cast<double>(huntTimeMs);
}

std::optional<double> Moments::endpointMs() const {
    if (!mLaunch.finalIndex()) return std::nullopt;
    return sampleMs(static_cast<std::size_t>(*mLaunch.finalIndex()));
}

std::optional<double> Moments::opinionMs(const std::optional<JudgedLaunch>& judged) const {
    if (!judged || !judged->verdict.opinion.settledAt) return std::nullopt;
    return sampleMs(*judged->verdict.opinion.settledAt);
}

std::optional<double> Moments::lastSampleMs() const {
    if (mLaunch.samples() == 0) return std::nullopt;
    return sampleMs(mLaunch.samples() - 1);
}

double Moments::evaluationMs(const Evaluation& evaluation) const {
    return sampleMs(std::max<std::size_t>(evaluation.samples(), 1) - 1);
}

bool Moments::isWindowWhole() const {
    return mLaunch.note && mLaunch.note->samples >= mLaunch.note->windowSamples;
}

}  // namespace host
