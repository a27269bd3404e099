// orvo-host measure: how long launches take, without learning anything.
#include <memory>
#include <optional>
#include <unistd.h>

#include "host/base/exit_code.h"
#include "host/base/interruption.h"
#include "host/base/new_files.h"
#include "host/base/replaced_file.h"
#include "host/base/standard_streams.h"
#include "host/learn/learn_advice.h"
#include "host/measure/command_words.h"
#include "host/measure/measure_report.h"
#include "host/measure/measure_session.h"
#include "host/process/task_list.h"
#include "host/root/device_root.h"
#include "host/root/scratch_folder.h"
#include "host/state/package_lock.h"
#include "host/verbs/comparing.h"
#include "host/verbs/shared_options.h"
#include "host/verbs/verb.h"
#include "host/verbs/verbs.h"

namespace host {
namespace {

struct MeasureArguments {
    LaunchArguments launch;
    MeasureOptions options;
    std::optional<std::string> against;
    std::optional<std::int32_t> mostRuns;
    std::string file;
    CompareOptions comparing;
    bool json = false;
};

void checkPlan(MeasureArguments& arguments) {
    MeasurePlan& plan = arguments.options.plan;
    if (!plan.stablePercent && arguments.mostRuns)
        throw HostError(kUsage, "--most-runs is the limit of --until-stable; give that, or --runs");
    plan.mostRuns = arguments.mostRuns.value_or(plan.mostRuns);
    if (!plan.stablePercent || plan.mostRuns >= plan.runs) return;
    throw HostError(kUsage, "--most-runs " + std::to_string(plan.mostRuns) + " is below --runs " +
                                std::to_string(plan.runs));
}

void checkArguments(MeasureArguments& arguments, const Invocation& invocation) {
    checkLaunchArguments(arguments.launch, "NAME");
    checkPlan(arguments);
    if (invocation.arguments.command.empty())
        throw HostError(kUsage, "COMMAND is missing: orvo-host measure NAME -- COMMAND [ARG...]");
    if (arguments.comparing.failIfSlowerPercent && !arguments.against)
        throw HostError(kUsage,
                        "--fail-if-slower compares with --against, which is missing; two results "
                        "files are compared by orvo-host compare");
    if (!arguments.file.empty()) checkReplaceable(arguments.file);
}

MeasureOptions optionsOf(const MeasureArguments& arguments, const Invocation& invocation) {
    MeasureOptions options = arguments.options;
    options.kind = kindAskedFor(arguments.launch);
    options.words = {invocation.arguments.command};
    if (arguments.against) options.words.push_back(commandWords(*arguments.against, "--against"));
    for (const std::vector<std::string>& words : options.words) {
        LaunchSettings& settings = options.commands.emplace_back(arguments.launch.settings);
        settings.command = commandLineOf(arguments.launch, words);
    }
    return options;
}

bool hasLaunches(const Results& results) {
    return std::any_of(results.begin(), results.end(),
                       [](const Measurement& each) { return !each.launches.empty(); });
}

// What went wrong is printed last. Without launches there is no file.
std::optional<HostError> keepResults(const std::string& file, const Results& results) {
    if (file.empty() || !hasLaunches(results)) return std::nullopt;
    try {
        replaceFile(file, renderResults(results));
    } catch (const HostError& error) {
        return error;
    }
    return std::nullopt;
}

bool canCompare(const Results& results) {
    const std::vector<SettledTimes> times = settledTimes(results);
    return times.size() == 2 && !times.front().empty() && !times.back().empty();
}

// The exit code of comparing; kDone without.
int printResults(const MeasureArguments& arguments, const Results& results) {
    if (arguments.json) print(renderResults(results));
    if (canCompare(results))
        return reportComparison(results.front(), results.back(), arguments.comparing);
    for (const Measurement& measurement : results) {
        const std::string which = results.size() == 1                ? ""
                                  : &measurement == &results.front() ? "COMMAND, "
                                                                     : "--against, ";
        if (!arguments.json) print(which + renderText(summaryOf(measurement)));
    }
    return kDone;
}

void tell(const std::string& line) {
    sayLine(line);
}

void advise(const MeasureReport& report, const MeasurePlan& plan, const StateFolder& state,
            const std::string& commandOutput) {
    const std::string end = endText(report.end, report.runs, plan, settledTimes(report.results));
    if (!end.empty()) tell(end);
    for (const std::string& line : faultsOf(report, commandOutput))
        tell(line);
    AdviceContext context{"", state.log(), commandOutput};
    for (const LearnReport& seen : report.seen) {
        for (const std::string& line : adviceOn(seen, context))
            tell(line);
        context.command = "--against";
    }
}

int measureHere(const MeasureArguments& arguments, const Invocation& invocation,
                const MeasureOptions& options, const StateFolder& state) {
    noteInterruptions();
    keepNewFilesPrivate();
    const ScratchFolder scratch;
    const StateFolder store(scratch.path());
    store.create();
    const CommandOutput output(state);
    LogSink log(state.log(), invocation.logLevel, invocation.verbose);
    Progress progress(Progress::styleFor(invocation.quiet, invocation.verbose));
    MeasureSession session(options, store, state, output, log, invocation.library(), progress);
    const MeasureReport report = session.run();
    if (report.fault && !hasLaunches(report.results)) throw HostError(*report.fault);
    const std::optional<HostError> fault = keepResults(arguments.file, report.results);
    const int compared = printResults(arguments, report.results);
    advise(report, options.plan, state, output.path());
    if (fault) tell(fault->what());
    if (report.fault) throw HostError(*report.fault);
    if (fault) return fault->code();
    const int measured = exitCodeOf(report, arguments.comparing.isStrict);
    return measured == kDone ? compared : measured;
}

int measure(MeasureArguments& arguments, const Invocation& invocation) {
    checkArguments(arguments, invocation);
    const MeasureOptions options = optionsOf(arguments, invocation);
    arguments.comparing.isJson = arguments.json;
    const StateFolder state(invocation.statePath());
    state.create();
    const bool realCpuset = arguments.launch.realCpuset;
    // In one task list two launches of a name would find each other's processes.
    std::optional<PackageLocks> locks;
    const bool sharesTaskList = realCpuset || access(kTaskListPath, F_OK) == 0;
    if (!hasArrivedInDeviceRoot() && sharesTaskList) {
        locks.emplace(state.packageLocks()).takeOrRefuse(arguments.launch.settings.package);
    }
    if (!isDeviceRoot(realCpuset))
        return runInDeviceRoot({"", realCpuset, true}, invocation.program);
    return measureHere(arguments, invocation, options, state);
}

void addPlanOptions(Verb& verb, MeasureArguments& arguments) {
    MeasurePlan& plan = arguments.options.plan;
    verb.option("--against", arguments.against,
                "Measure this newer command too, in turn with COMMAND, the older one,\n"
                "and compare them. Its words are parted as a shell does, by blanks,\n"
                "'quotes', \"quotes\" and backslashes; nothing is expanded")
        .named("COMMAND");
    verb.option("--runs", plan.runs, "Launches of each command (default 10)")
        .named("N")
        .from(1, 1000);
    verb.option("--warmup", plan.warmups,
                "Launches of each before, which do not count (default 0; the probing\n"
                "launch of --window auto is one as well)")
        .named("N")
        .from(0, 1000);
    verb.option("--prepare", arguments.options.prepare,
                "Run this by sh -c before each launch; one before which it fails is not\n"
                "made")
        .named("LINE");
    verb.option("--cleanup", arguments.options.cleanup, "Run this by sh -c after each launch")
        .named("LINE");
    verb.option("--until-stable", plan.stablePercent,
                "Go on after --runs until the median's 95 % interval is narrower than\n"
                "this share of the median")
        .named("PERCENT")
        .from(0.1, 100.0);
    verb.option("--most-runs", arguments.mostRuns, "But no further than this (default 100)")
        .named("N")
        .from(1, 1000);
}

}  // namespace

void addMeasureVerb(Program& program, Invocation& invocation) {
    const auto arguments = std::make_shared<MeasureArguments>();
    Verb verb(program, invocation, "measure",
              "Launch COMMAND again and again and tell how long it takes to settle, "
              "without learning",
              "NAME [OPTIONS] -- COMMAND [ARG...]");
    verb.option("NAME", arguments->launch.settings.package,
                "Name to launch COMMAND under, its argv[0]")
        .isRequired();
    addPlanOptions(verb, *arguments);
    addLaunchOptions(verb, arguments->launch, "Measure", "");
    verb.option("-o,--output", arguments->file,
                "Results file to write, JSON with each launch whole")
        .named("FILE");
    addGateOptions(verb, arguments->comparing);
    verb.flag("--json", arguments->json,
              "Print what -o writes, and with --against the comparison in a second\n"
              "line");
    verb.runs([arguments, &invocation] { return measure(*arguments, invocation); });
}

}  // namespace host
