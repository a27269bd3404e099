// A comparison as compare prints it, as text and as JSON.
#pragma once

#include <string>

#include "host/base/json_text.h"
#include "host/compare/comparison.h"

namespace host {

/// "slower by 91 ms, 10.0 % (95 %: 79 to 103 ms, 8.7 to 11.3 %; rank test p < 0.001)".
std::string findingText(const Comparison& comparison);

/// Whole lines: both measurements, the finding in a sentence, the doubted launches by
/// their runs, and the warnings.
std::string renderText(const Comparison& comparison);

/// To stand alone (compare --json) or in another object.
Json jsonOf(const Comparison& comparison);

}  // namespace host
