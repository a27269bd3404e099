// The gnuplot script that draws two measurements over each other.
#pragma once

#include "host/compare/comparison.h"
#include "host/compare/side.h"
#include "host/dump/plot_script.h"

namespace host {

/// Each launch's time as a dot, with the medians and their intervals; below that the
/// memory that most launches had at each moment.
PlotScript comparisonScript(const Comparison& comparison, const ComparisonPicture& picture);

}  // namespace host
