// The panel of a comparison that shows each launch's time.
#pragma once

#include "host/compare/comparison.h"
#include "host/compare/side.h"

namespace host {

/// A dot a launch, or several where too many would stand on each other, hollow for a
/// doubted one; below them the median with its interval.
Panel dotsPanel(const Comparison& comparison, const ComparisonPicture& picture);

}  // namespace host
