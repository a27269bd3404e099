// When what happened in a recorded launch.
#pragma once

#include <optional>
#include <vector>

#include "host/dump/launch.h"
#include "host/dump/picture_axes.h"
#include "host/library/judged_launch.h"

namespace host {

/// A launch's times in ms, from its program's start or, where that is not known, from
/// its first sample.
class Moments {
public:
    /// The launch must outlive it.
    explicit Moments(const DumpedLaunch& launch);

    bool isSinceStart() const { return mTime.isSinceStart(); }

    /// Also of the samples behind those of the dump, which the note has.
    double sampleMs(std::size_t sample) const { return mTime.timeMs(mLaunch, sample); }

    /// The library's for the process, from which its endpoint counts; of a launch
    /// whose endpoint and start are known.
    std::optional<double> firstLookMs() const;
    std::optional<double> endpointMs() const;
    std::optional<double> opinionMs(const std::optional<JudgedLaunch>& judged) const;
    std::optional<double> lastSampleMs() const;  ///< the library's
    double evaluationMs(const Evaluation& evaluation) const;
    double endMs() const { return mTime.endMs(); }  ///< of all that was seen

    /// Whether the library's last sample was the last that it takes; a long launch
    /// that is decided ends before.
    bool isWindowWhole() const;

private:
    const DumpedLaunch& mLaunch;
    const TimeAxis mTime;
};

}  // namespace host
