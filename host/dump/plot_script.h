// The gnuplot script that draws recorded launches.
#pragma once

#include <string>
#include <vector>

#include "host/dump/launch.h"
#include "host/dump/plot_commands.h"

namespace host {

/// What a picture shows: one launch with all that its evaluations came to, or
/// several launches laid over each other.
struct Picture {
    PictureFormat format = PictureFormat::kText;
    int columns = 80;  ///< of a text
    int rows = 24;     ///< of a text; more are used when the panels need them
    std::string package;
    std::vector<const DumpedLaunch*> launches;  ///< with samples; at least one
    std::size_t launchesInAll = 0;              ///< of which the launches are the last
    std::vector<Metric> metrics;                ///< a panel each; at least one
};

/// The metrics of which some of the launches have samples.
std::vector<Metric> metricsWithSamples(const std::vector<const DumpedLaunch*>& launches);

/// The script writes the picture to gnuplot's standard output. Every text in it
/// that comes from outside is quoted.
std::string plotScript(const Picture& picture);

}  // namespace host
