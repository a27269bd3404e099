// The pictures of a report: one launch, and several laid over each other.
#pragma once

#include <string>
#include <vector>

#include "host/compare/comparison.h"
#include "host/dump/launch.h"

namespace host {

/// A launch with samples, drawn, with its caption below: a figure of a page.
/// `id` is its own in the page.
std::string launchFigure(const DumpedLaunch& launch, const std::string& title,
                         const std::string& id);

/// At least one launch, all with samples.
std::string overlayFigure(const std::vector<const DumpedLaunch*>& launches,
                          const std::string& title, const std::string& id);

/// When the launches of either settled, with their medians.
std::string timesFigure(const Comparison& comparison, const std::string& id);

/// The memory that most launches of either had; empty where no times are known.
std::string medianMemoryFigure(const Comparison& comparison, const std::string& id);

}  // namespace host
