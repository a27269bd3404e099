// orvo-host plot: draws recorded launches.
#include <deque>
#include <memory>

#include "host/base/exit_code.h"
#include "host/base/replaced_file.h"
#include "host/base/standard_streams.h"
#include "host/dump/caption.h"
#include "host/dump/dump_file.h"
#include "host/dump/launch_notes.h"
#include "host/dump/picture_file.h"
#include "host/dump/plot_script.h"
#include "host/dump/recorded_probe.h"
#include "host/verbs/drawing.h"
#include "host/verbs/verb.h"
#include "host/verbs/verbs.h"

namespace host {
namespace {

constexpr std::size_t kMostOverlaid = 100;  // more would only be grey upon grey

struct PlotArguments {
    std::string source;
    std::string generation;   // empty: the newest
    std::int64_t launch = 0;  // 0: the last with samples
    bool all = false;
    bool probe = false;
    std::string file;    // empty: standard output, in characters
    std::string metric;  // empty: all with samples
};

// The launches to draw, with samples, and how many there are of that kind.
struct Chosen {
    std::deque<DumpedLaunch> launches;
    std::size_t inAll = 0;

    void add(DumpedLaunch launch, std::size_t most) {
        if (!launch.hasSamples()) return;
        ++inAll;
        launches.push_back(std::move(launch));
        if (launches.size() > most) launches.pop_front();
    }
};

Chosen chooseLaunches(const DumpSource& source, const PlotArguments& arguments) {
    if (arguments.probe) return {{recordedProbe(source)}, 1};
    DumpFile file(source);
    LaunchNotes notes(source);
    Chosen chosen;
    std::int64_t launches = 0;
    while (std::optional<DumpedLaunch> launch = file.next()) {
        ++launches;
        notes.count(*launch);
        if (arguments.launch != 0 && launch->number != arguments.launch) continue;
        chosen.add(std::move(*launch), arguments.all ? kMostOverlaid : 1);
    }
    for (DumpedLaunch& launch : chosen.launches)
        notes.attachTo(launch);
    if (!chosen.launches.empty()) return chosen;
    if (arguments.launch > launches) refuseNumber(source, arguments.launch, launches);
    throw HostError(kNotLearned,
                    "there is nothing to draw: " +
                        (arguments.launch == 0
                             ? "no launch in the dump has samples"
                             : "launch " + std::to_string(arguments.launch) + " has no samples"));
}

void tellOfThoseLeftOut(const Chosen& chosen) {
    sayLine("only the last " + std::to_string(chosen.launches.size()) + " of the " +
            std::to_string(chosen.inAll) + " launches with samples are drawn");
}

std::vector<Metric> chooseMetrics(const std::vector<const DumpedLaunch*>& launches,
                                  const std::string& id) {
    std::vector<Metric> present = metricsWithSamples(launches);
    if (id.empty()) return present;
    for (const Metric metric : present) {
        if (traitsOf(metric).id == id) return {metric};
    }
    throw HostError(kNotLearned, "there is nothing to draw: no samples of " + id);
}

void fitToTerminal(Picture& picture) {
    const TerminalSize room = roomOn(terminalSize(), {picture.columns, picture.rows});
    picture.columns = room.columns;
    picture.rows = room.rows;
}

int plot(const PlotArguments& arguments, const Invocation& invocation) {
    refuseCommand(invocation);
    Picture picture;
    if (!arguments.file.empty()) {
        picture.format = formatOf(arguments.file);
        picture.columns = kTextFileColumns;
    } else {
        fitToTerminal(picture);
    }
    const DumpSource source = dumpGivenAs(arguments.source, arguments.generation, invocation);
    const Chosen chosen = chooseLaunches(source, arguments);
    if (arguments.all && chosen.launches.size() < chosen.inAll) tellOfThoseLeftOut(chosen);
    picture.package = titleOf(source);
    picture.isAscii = picture.format == PictureFormat::kText && !isUtf8Locale();
    for (const DumpedLaunch& launch : chosen.launches)
        picture.launches.push_back(&launch);
    picture.launchesInAll = chosen.inAll;
    picture.metrics = chooseMetrics(picture.launches, arguments.metric);
    const std::string drawn = draw(plotScript(picture));
    if (arguments.file.empty()) {
        print(drawn);
    } else {
        replaceFile(arguments.file, drawn);
    }
    return kDone;
}

}  // namespace

void addPlotVerb(Program& program, Invocation& invocation) {
    const auto arguments = std::make_shared<PlotArguments>();
    Verb verb(program, invocation, "plot", "Draw recorded launches", "PACKAGE|FILE.csv [OPTIONS]");
    verb.option("PACKAGE", arguments->source, "A package with a dump, or a dump's file")
        .isRequired();
    addGenerationOption(verb, arguments->generation);
    const Option all = verb.flag("--all", arguments->all,
                                 "Lay all launches over each other, the last 100 at most");
    Option launch = verb.option("--launch", arguments->launch,
                                "Which launch, from 1 on (default the last with samples)");
    launch.named("N").isPositive().excludes(all);
    verb.flag("--probe", arguments->probe,
              "The last probing launch, which the library was not told of")
        .excludes(all)
        .excludes(launch);
    verb.option("-o,--output", arguments->file,
                "Picture to write, by its name's end: .svg, .png or .txt\n"
                "(default: in characters on standard output)")
        .named("FILE");
    verb.option("--metric", arguments->metric,
                "Only this one: vmrss, oom or fd (default all with samples)")
        .named("M")
        .isOneOf({"vmrss", "oom", "fd"});
    verb.runs([arguments, &invocation] { return plot(*arguments, invocation); });
}

}  // namespace host
