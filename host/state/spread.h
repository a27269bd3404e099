// How the launches of one package spread.
#pragma once

#include <cstddef>
#include <vector>

namespace host {

/// Of a list of endpoints in ms that is not empty.
struct Spread {
    double meanMs;
    double medianMs;
    double smallestMs;
    double largestMs;
    std::vector<std::size_t> farFromRest;  ///< positions in the list
};

Spread spreadOf(const std::vector<double>& endpointsMs);

}  // namespace host
