// What the axes of a picture count: time from where, and in which units.
#pragma once

#include <string>
#include <vector>

#include "host/dump/launch.h"

namespace host {

/// What a person would write values in.
struct Unit {
    double size;       ///< in ms, or in what the series counts
    const char* name;  ///< empty for a plain number

    double of(double value) const { return value / size; }
};

/// A MB is 1024 kB here, as where the kernel and other tools show memory.
Unit unitOf(Metric metric, double largest);

/// "26.4 MB", "667".
std::string valueText(double value, const Unit& unit);

/// The axis of time, which all panels of a picture share. It begins at the program's
/// start where that is known of all launches, else at their first samples. It shows
/// what was seen behind the window of a single launch alone.
class TimeAxis {
public:
    explicit TimeAxis(const std::vector<const DumpedLaunch*>& launches);

    bool isSinceStart() const { return mIsSinceStart; }

    /// When the sample was taken, in ms. Samples behind those of the dump are the note's.
    double timeMs(const DumpedLaunch& launch, std::size_t sample) const;

    /// Where that is on the axis.
    double at(const DumpedLaunch& launch, std::size_t sample) const {
        return mUnit.of(timeMs(launch, sample));
    }

    double endMs() const { return mEndMs; }
    const Unit& unit() const { return mUnit; }

    /// "720 ms", as elsewhere; "37.47 s" of long ones.
    static std::string text(double ms);

    /// "ms since the program's start".
    std::string title() const;

private:
    bool mIsSinceStart;
    double mEndMs = 0;
    Unit mUnit;
};

struct Axes {
    explicit Axes(const std::vector<const DumpedLaunch*>& launches);

    TimeAxis time;
    PerMetric<Unit> units;
};

/// A step of 1, 2 or 5 times a power of ten that divides `length` into no more than
/// `most` parts.
double niceStep(double length, int most);

/// The samples of memory that were seen behind those of the dump.
const Series& lookAfterOf(const DumpedLaunch& launch, Metric metric);

}  // namespace host
