// What measure prints of the launches of one command.
#pragma once

#include <string>
#include <vector>

#include "host/compare/comparison.h"
#include "host/measure/measure_session.h"

namespace host {

/// Whole lines: the median, what was left out, what is doubted, and warnings.
std::string renderText(const MeasurementSummary& summary);

/// What did not go as asked beside the launches, one line each. `commandOutput` is the
/// file that has what the lines for the shell printed.
std::vector<std::string> faultsOf(const MeasureReport& report, const std::string& commandOutput);

/// The exit code of measuring, before anything is compared; `isStrict` minds doubts.
int exitCodeOf(const MeasureReport& report, bool isStrict);

}  // namespace host
