// Several launches' panel of one metric, laid over each other.
#pragma once

#include <vector>

#include "host/dump/launch.h"
#include "host/dump/plot_commands.h"

namespace host {

/// Launches that are the same to the eye: of equal samples and endpoints.
struct AlikeLaunches {
    const DumpedLaunch* newest;
    std::size_t index;  ///< the newest's, of its data block
    std::size_t count;
};

/// In the order of the newest of each.
std::vector<AlikeLaunches> alikeAmong(const std::vector<const DumpedLaunch*>& launches);

/// Each launch's samples with its endpoint marked, and the median endpoint. Of those
/// that are alike one is drawn. Only the newest have a look of their own; those before
/// are drawn faint. The key is the same in all panels, so that one of them has it.
Panel overlayPanel(const std::vector<const DumpedLaunch*>& launches, Metric metric,
                   const Axes& axes, const Surface& surface);

}  // namespace host
