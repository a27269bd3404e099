// The panel of a comparison that shows memory over the time since the start.
#pragma once

#include "host/compare/comparison.h"
#include "host/compare/side.h"

namespace host {

/// The median memory of either measurement, with its median endpoint. None when
/// neither has samples.
std::optional<Panel> memoryPanel(const Comparison& comparison, const ComparisonPicture& picture);

}  // namespace host
