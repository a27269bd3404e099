// One launch's panel of one metric.
#pragma once

#include <string>

#include "host/dump/launch.h"
#include "host/dump/plot_commands.h"

namespace host {

/// The samples, the settled value with its tolerance, the metric's endpoint and
/// the launch's; of a long launch, what each evaluation came to.
std::string launchPanel(const DumpedLaunch& launch, Metric metric, PictureFormat format,
                        std::int64_t lastMs);

}  // namespace host
