// Goes on sampling a launch's memory where the library has stopped.
#pragma once

#include <optional>

#include "host/base/unique_fd.h"
#include "host/library/series_recorder.h"

namespace host {

/// Looks at the process's memory as the library does, at its period, from where
/// the library has sampled the launch for the last time.
class LookAfter {
public:
    /// For that long, or else as long as the window. None after a launch that came to
    /// no end. Throws HostError when the host itself cannot read /proc.
    LookAfter(const RecordedLaunch& launch, std::optional<double> limitMs);

    /// One look; none when the process is gone, which ends it.
    void look(double nowMs);

    bool hasEnded() const { return !mStatus.isOpen() || lookedForMs() >= mLimitMs; }

    /// When the next look is due, on the steady clock.
    double nextMs() const;

    double limitMs() const { return mLimitMs; }

    /// How long it has looked on.
    double lookedForMs() const;

    const Series& memoryKb() const { return mMemoryKb; }

private:
    UniqueFd mStatus;    // held, so that it never shows another process of that number
    double mLastMs = 0;  // the library's last sample
    double mLimitMs = 0;
    std::int32_t mLastKb = 0;
    Series mMemoryKb;
};

/// Puts a look at a time behind the last sample into a series of one value a
/// period. Between what lies further apart goes a straight line; a look at a
/// period that has a value already is dropped.
void addLook(Series& memoryKb, std::int32_t beforeKb, double behindMs, std::int32_t kb);

}  // namespace host
