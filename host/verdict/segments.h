// A series as straight pieces.
#pragma once

#include <cstddef>
#include <vector>

#include "host/verdict/noise.h"

namespace host {

/// Samples `begin` up to before `end`, near the line from `first` to `last`.
struct Segment {
    std::size_t begin;
    std::size_t end;
    double first;  ///< the line at `begin`, kB
    double last;   ///< the line at `end` - 1, kB

    std::size_t samples() const { return end - begin; }
    double slope() const {
        return samples() < 2 ? 0.0 : (last - first) / static_cast<double>(samples() - 1);
    }
};

/// Bottom-up segmentation (Keogh, Chu, Hart and Pazzani 2001): from pairs of
/// samples on, the neighbours whose common line costs least become one, until a
/// merger costs more than the Bayesian criterion grants for the numbers that it
/// saves.
std::vector<Segment> straightPieces(const Levels& series, double noise);

/// The pieces' lines, a value per sample.
Levels valuesOf(const std::vector<Segment>& pieces);

}  // namespace host
