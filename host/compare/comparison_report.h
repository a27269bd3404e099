// A comparison as compare prints it, as text and as JSON.
#pragma once

#include <string>

#include "host/base/json_fwd.h"
#include "host/compare/comparison.h"

namespace host {

/// "median 912.5 ms after the start (95 %: 905 to 920 ms), all 900 to 925 ms, 6 of 7
/// launches". Says so where there is no median, or no interval.
std::string medianText(const MeasurementSummary& summary);

/// "slower by 91 ms, 10.0 % (95 %: 79 to 103 ms, 8.7 to 11.3 %; rank test p < 0.001)".
std::string findingText(const Comparison& comparison);

/// "by the second opinion: slower by ...": the same by the other time, which answers what
/// doubted or missing endpoints leave open. Empty where they leave nothing open, or
/// there is no other time.
std::string otherFindingText(const Comparison& comparison);

/// Whole lines: both measurements, the finding in a sentence, the doubted launches by
/// their runs, and the warnings.
std::string renderText(const Comparison& comparison);

/// To stand alone (compare --json) or in another object.
Json jsonOf(const Comparison& comparison);

}  // namespace host
