// An own estimate of when a launch settled, from all that was seen of it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace host {

// Samples in a row that make a level, by the library's analysis.
constexpr std::size_t kShortStreak = 5;
constexpr std::size_t kLongStreak = 10;  ///< of a long launch, type 2

enum class Ending {
    kTooShort,  ///< fewer samples than a level needs
    kLevel,     ///< stays within the tolerance, or swings evenly around its middle
    kDrifting,  ///< moves on by more than the tolerance, slowly
    kGrowing,   ///< moves on
};

struct SecondOpinion {
    Ending ending = Ending::kTooShort;
    /// The sample from which memory stays at its last level; none unless it
    /// ends at one.
    std::optional<std::size_t> settledAt;
    double errorSamples = 0.0;  ///< how far off `settledAt` may be
    /// The sample from which it only drifts, when that is how it ends.
    std::optional<std::size_t> driftsFrom;
    double levelKb = 0.0;         ///< at the end
    double noisePercent = 0.0;    ///< of that level: noise, or an even swing's half height
    double slopeKb = 0.0;         ///< per sample, at the end
    std::size_t longestRest = 0;  ///< samples at one level in a row before `settledAt`
};

/// The method: the series without single spikes is fitted by straight pieces
/// (bottom-up segmentation), each of which must be worth its numbers by the
/// Bayesian information criterion, given the noise that the second differences
/// show. So noise is averaged away over as long as memory goes straight, and
/// steps stay sharp. The launch has settled at the first sample from which the
/// pieces stay within the library's own tolerance, 1 %, of the last level; where
/// one long piece leads right into it, where its line meets the level. Where
/// memory goes up and down evenly, as under a collector, the mean over one swing
/// takes the series' place. Keogh, Chu, Hart, Pazzani: An Online Algorithm for
/// Segmenting Time Series, ICDM 2001.
SecondOpinion secondOpinion(const std::vector<std::int32_t>& memoryKb, std::size_t streak);

}  // namespace host
