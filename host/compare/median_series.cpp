// Memory over the time since the start, as most launches had it.
#include "host/compare/median_series.h"

#include <algorithm>

#include "host/statistics/median.h"

namespace host {
namespace {

// Whatever times a file claims: twice what the longest window takes.
constexpr std::size_t kMostPoints = 2 * kMostSamples;

// One launch's samples, looked at in the order of time.
class Walk {
public:
    explicit Walk(const MeasuredLaunch& launch)
        : mMemoryKb(launch.series[Metric::kVmRss]),
          mSampledAtMs(launch.sampledAtMs),
          mSamples(std::min(mMemoryKb.size(), mSampledAtMs.size())) {}

    bool hasSamples() const { return mSamples > 0; }

    // Goes on to the last sample up to then; false before the first, and a period
    // after the last.
    bool goTo(double timeMs) {
        while (mNext < mSamples && mSampledAtMs[mNext] <= timeMs)
            ++mNext;
        return mNext > 0 && timeMs < mSampledAtMs[mNext - 1] + lengthMs();
    }

    double memoryKb() const { return mMemoryKb[mNext - 1]; }

private:
    // How long a sample stands for: until the next one, which may be late.
    double lengthMs() const {
        return mNext < mSamples ? kForever : static_cast<double>(kSamplePeriodMs);
    }

    static constexpr double kForever = 1e12;
    const Series& mMemoryKb;
    const std::vector<std::int32_t>& mSampledAtMs;
    const std::size_t mSamples;
    std::size_t mNext = 0;
};

}  // namespace

std::vector<SeriesPoint> medianMemory(const Measurement& measurement) {
    std::vector<Walk> walks;
    for (const MeasuredLaunch& launch : measurement.launches) {
        Walk walk(launch);
        if (walk.hasSamples()) walks.push_back(walk);
    }
    std::vector<SeriesPoint> points;
    for (std::size_t i = 0; i < kMostPoints && !walks.empty(); ++i) {
        const auto timeMs = static_cast<double>(i * kSamplePeriodMs);
        std::vector<double> memoryKb;
        for (Walk& walk : walks) {
            if (walk.goTo(timeMs)) memoryKb.push_back(walk.memoryKb());
        }
        const bool areEnough = 2 * memoryKb.size() >= walks.size();
        if (areEnough) points.push_back({timeMs, medianOf(memoryKb)});
        if (!areEnough && !points.empty()) break;
    }
    return points;
}

}  // namespace host
