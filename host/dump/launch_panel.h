// One launch's panel of one metric.
#pragma once

#include "host/dump/launch.h"
#include "host/dump/plot_commands.h"

namespace host {

/// The samples and what was seen behind them, the settled value with its tolerance,
/// the metric's endpoint and the launch's; of a long launch, what each evaluation came
/// to. A flat series has no settled value beside it.
Panel launchPanel(const DumpedLaunch& launch, Metric metric, const Axes& axes,
                  const Surface& surface);

}  // namespace host
