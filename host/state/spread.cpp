// How the launches of one package spread.
#include "host/state/spread.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "host/statistics/median.h"

namespace host {
namespace {

// Far is beyond three standard deviations, estimated from the median of the
// distances, which a few outliers do not move. Below these bounds a difference
// says nothing: the sampling's grain, and a tenth of the launch.
constexpr double kDeviations = 3.0;
constexpr double kDeviationPerMedianDistance = 1.4826;
constexpr double kGrainMs = 60.0;
constexpr double kGrainShare = 0.1;
constexpr std::size_t kFewestToJudge = 4;

std::vector<std::size_t> farFrom(double medianMs, const std::vector<double>& endpointsMs) {
    if (endpointsMs.size() < kFewestToJudge) return {};
    std::vector<double> distances;
    for (const double endpointMs : endpointsMs)
        distances.push_back(std::abs(endpointMs - medianMs));
    const double limitMs =
        std::max({kDeviations * kDeviationPerMedianDistance * medianOf(distances), kGrainMs,
                  kGrainShare * medianMs});
    std::vector<std::size_t> far;
    for (std::size_t i = 0; i < distances.size(); ++i) {
        if (distances[i] > limitMs) far.push_back(i);
    }
    return far;
}

}  // namespace

Spread spreadOf(const std::vector<double>& endpointsMs) {
    const auto [smallest, largest] = std::minmax_element(endpointsMs.begin(), endpointsMs.end());
    const double sum = std::accumulate(endpointsMs.begin(), endpointsMs.end(), 0.0);
    const double medianMs = medianOf(endpointsMs);
    return {sum / static_cast<double>(endpointsMs.size()), medianMs, *smallest, *largest,
            farFrom(medianMs, endpointsMs)};
}

}  // namespace host
