// How noisy a series is, and the series without its single spikes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace host {

using Levels = std::vector<double>;  ///< kB, one per sample

/// The library's tolerance for memory: what lies within it of a level is at it.
constexpr double kToleranceShare = 0.01;
constexpr double kPageKb = 4.0;

/// The deviation of one sample from the level beneath, from the second
/// differences of the series' last half, which levels and even growth leave at
/// nothing and which are mostly behind the launch. Of neighbours and of samples
/// half a `streak` apart: what lasts that short makes no level. At least a page:
/// memory is counted in pages.
double noiseKb(const Levels& series, std::size_t streak);

/// How far `samples` of noise stray at most, in deviations: the universal
/// threshold of Donoho and Johnstone (1994).
double noiseReach(std::size_t samples);

/// A run of fewer than `streak` samples that leaves its neighbours by more than
/// noise and tolerance and comes back to them is a spike: too short for a level.
/// It takes the neighbours' value. Growth and steps stay as they are.
Levels withoutSpikes(const Levels& series, std::size_t streak, double noise);

/// The mean over `width` samples around each; at both ends the first and last `width`.
Levels runningMean(const Levels& series, std::size_t width);

}  // namespace host
