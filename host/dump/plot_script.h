// The gnuplot script that draws recorded launches.
#pragma once

#include <string>
#include <vector>

#include "host/dump/launch.h"
#include "host/dump/plot_commands.h"

namespace host {

constexpr int kFewestColumns = 40;     ///< of a text that can be read
constexpr int kTextFileColumns = 100;  ///< of one in a file

/// What a picture shows: one launch with all that its evaluations came to, or
/// several launches laid over each other.
struct Picture {
    PictureFormat format = PictureFormat::kText;
    int columns = 80;      ///< of a text
    int rows = 24;         ///< of a text; more are used when the panels need them
    bool isAscii = false;  ///< a text's reader has no other characters
    std::string package;
    std::vector<const DumpedLaunch*> launches;  ///< with samples; at least one
    std::size_t launchesInAll = 0;              ///< of which the launches are the last
    std::vector<Metric> metrics;                ///< a panel each; at least one
};

/// The metrics of which some of the launches have samples.
std::vector<Metric> metricsWithSamples(const std::vector<const DumpedLaunch*>& launches);

struct PlotScript {
    std::string script;  ///< writes the picture to gnuplot's standard output
    std::string above;   ///< what a text has above and below that, whole lines
    std::string below;
};

/// Every text in it that comes from outside is quoted.
PlotScript plotScript(const Picture& picture);

}  // namespace host
