// Memory over the time since the start, as most launches had it.
#pragma once

#include <vector>

#include "host/results/measurement.h"

namespace host {

struct SeriesPoint {
    double sinceStartMs;
    double memoryKb;
};

/// Every period from the start on the median of the memory that the launches had then,
/// each by its last sample, as long as half of them were still sampled. Empty without
/// samples.
std::vector<SeriesPoint> medianMemory(const Measurement& measurement);

}  // namespace host
