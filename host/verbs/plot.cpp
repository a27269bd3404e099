// orvo-host plot: draws recorded launches.
#include <CLI/CLI.hpp>
#include <sys/ioctl.h>
#include <unistd.h>

#include "host/base/exit_code.h"
#include "host/dump/dump_file.h"
#include "host/dump/gnuplot.h"
#include "host/dump/picture_file.h"
#include "host/dump/plot_script.h"
#include "host/verbs/verbs.h"

namespace host {
namespace {

constexpr int kTextFileColumns = 100;

struct PlotArguments {
    std::string source;
    int launch = 0;  // 0: the last with samples
    bool all = false;
    std::string file;    // empty: standard output, in characters
    std::string metric;  // empty: all with samples
};

using Launches = std::vector<const DumpedLaunch*>;

Launches chooseLaunches(const Dump& dump, const PlotArguments& arguments) {
    Launches chosen;
    if (arguments.launch != 0) {
        chosen.push_back(&dump.launch(arguments.launch));
    } else {
        for (const DumpedLaunch& launch : dump.launches) {
            if (launch.hasSamples()) chosen.push_back(&launch);
        }
        if (!arguments.all && !chosen.empty()) chosen.erase(chosen.begin(), chosen.end() - 1);
    }
    if (!chosen.empty() && chosen.front()->hasSamples()) return chosen;
    throw HostError(kNotLearned,
                    "there is nothing to draw: " +
                        (arguments.launch == 0
                             ? "no launch in the dump has samples"
                             : "launch " + std::to_string(arguments.launch) + " has no samples"));
}

std::vector<Metric> chooseMetrics(const Launches& launches, const std::string& id) {
    std::vector<Metric> present = metricsWithSamples(launches);
    if (id.empty()) return present;
    for (const Metric metric : present) {
        if (traitsOf(metric).id == id) return {metric};
    }
    throw HostError(kNotLearned, "there is nothing to draw: no samples of " + id);
}

void fitToTerminal(Picture& picture) {
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0) return;
    if (size.ws_col > 0) picture.columns = size.ws_col;
    if (size.ws_row > 0) picture.rows = size.ws_row - 1;  // one for the prompt
}

int plot(const PlotArguments& arguments, const Invocation& invocation) {
    refuseCommand(invocation);
    const StateFolder state(invocation.statePath());
    Picture picture;
    if (!arguments.file.empty()) {
        picture.format = formatOf(arguments.file);
        picture.columns = kTextFileColumns;
    } else {
        fitToTerminal(picture);
    }
    const Dump dump = readDump(dumpSourceOf(arguments.source, state));
    picture.package = dump.source.package;
    picture.launches = chooseLaunches(dump, arguments);
    picture.metrics = chooseMetrics(picture.launches, arguments.metric);
    const std::string drawn = runGnuplot(plotScript(picture));
    if (arguments.file.empty()) {
        print(drawn);
    } else {
        writePicture(arguments.file, drawn);
    }
    return kDone;
}

}  // namespace

void addPlotVerb(CLI::App& app, Invocation& invocation) {
    const auto arguments = std::make_shared<PlotArguments>();
    CLI::App* const verb =
        addVerb(app, invocation, "plot", "Draw recorded launches", "PACKAGE|FILE.csv [OPTIONS]");
    verb->add_option("PACKAGE", arguments->source, "A package with a dump, or a dump's file")
        ->required();
    CLI::Option* const all =
        verb->add_flag("--all", arguments->all, "Lay all launches over each other");
    verb->add_option("--launch", arguments->launch,
                     "Which launch, from 1 on (default the last with samples)")
        ->type_name("N")
        ->check(CLI::PositiveNumber)
        ->excludes(all);
    verb->add_option("-o,--output", arguments->file,
                     "Picture to write, by its name's end: .svg, .png or .txt\n"
                     "(default: in characters on standard output)")
        ->type_name("FILE");
    verb->add_option("--metric", arguments->metric,
                     "Only this one: vmrss, oom or fd (default all with samples)")
        ->type_name("M")
        ->check(CLI::IsMember({"vmrss", "oom", "fd"}));
    verb->callback([arguments, &invocation] {
        invocation.verb = [arguments, &invocation] { return plot(*arguments, invocation); };
    });
}

}  // namespace host
