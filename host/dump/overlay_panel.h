// Several launches' panel of one metric, laid over each other.
#pragma once

#include <string>
#include <vector>

#include "host/dump/launch.h"
#include "host/dump/plot_commands.h"

namespace host {

/// Each launch's samples with its endpoint marked, and the median endpoint. Only
/// the newest have a look of their own; those before are drawn faint.
/// The key is the same in all panels, so that one of them has it.
std::string overlayPanel(const std::vector<const DumpedLaunch*>& launches, Metric metric,
                         PictureFormat format, std::int64_t lastMs, bool hasKey);

}  // namespace host
