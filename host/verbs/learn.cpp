// orvo-host learn: launches a command and lets the library learn its endpoint.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>

#include "host/base/exit_code.h"
#include "host/base/interruption.h"
#include "host/base/printable.h"
#include "host/learn/learn_session.h"
#include "host/library/fd_counts.h"
#include "host/process/command.h"
#include "host/process/package_name.h"
#include "host/root/device_root.h"
#include "host/verbs/verbs.h"

namespace host {
namespace {

struct LearnArguments {
    LearnOptions options;
    bool dump = false;
    bool keepName = false;
    bool json = false;
    bool realCpuset = false;
};

CommandLine commandLineOf(const LearnArguments& arguments, const Invocation& invocation) {
    const std::vector<std::string>& command = invocation.arguments.command;
    CommandLine line{findProgram(command.front()), command};
    if (!arguments.keepName) line.arguments.front() = arguments.options.package;
    return line;
}

void checkArguments(const LearnArguments& arguments, const Invocation& invocation) {
    const std::string fault = packageNameFault(arguments.options.package);
    if (!fault.empty()) throw HostError(kUsage, "PACKAGE " + fault);
    if (invocation.arguments.command.empty()) {
        throw HostError(kUsage, "COMMAND is missing: orvo-host learn PACKAGE -- COMMAND [ARG...]");
    }
    if (arguments.options.fdCounts && !kTakesFdCounts) {
        throw HostError(kUsage,
                        "--fd-counts needs a library built with -DORVO_HARDENED_LOCKING=ON "
                        "(preset hardened); this one would block on them");
    }
}

void warnOfDumpName(const LearnArguments& arguments) {
    if (!arguments.dump || arguments.options.package.find('/') == std::string::npos) return;
    std::fprintf(stderr, "orvo-host: no dump is written for a PACKAGE with '/' in it\n");
}

bool holds(const LearnReport& report, LaunchOutcome outcome) {
    return std::any_of(report.launches.begin(), report.launches.end(),
                       [&](const LaunchResult& launch) { return launch.outcome == outcome; });
}

void explainFailures(const LearnReport& report, const StateFolder& state, LogSink& log) {
    if (holds(report, LaunchOutcome::kExitedEarly)) {
        std::fprintf(stderr,
                     "orvo-host: COMMAND must stay for the launch; what it printed is in %s\n",
                     state.commandOutput().c_str());
    }
    if (holds(report, LaunchOutcome::kUndecided)) {
        std::fprintf(stderr,
                     "orvo-host: undecided launches settled before the first look, 200 ms "
                     "after the start, or not at all; --dump shows which\n");
    }
    if (holds(report, LaunchOutcome::kNotFound) && !report.otherName.empty()) {
        std::fprintf(stderr, "orvo-host: COMMAND showed the name '%s'; %s\n",
                     printable(report.otherName).c_str(), kNameRemedy);
    }
    if (holds(report, LaunchOutcome::kStoreFailed)) {
        throw HostError(kEnvironment,
                        "the store did not keep the launch: " + log.lastDatabaseError() +
                            "; free the disk or make " + state.database() + " writable");
    }
}

int learnHere(const LearnArguments& arguments, const Invocation& invocation,
              const StateFolder& state) {
    noteInterruptions();
    state.setDumpEnabled(arguments.dump);
    std::remove(state.commandOutput().c_str());
    LogSink log(state.log(), invocation.logLevel, invocation.verbose);
    Progress progress(Progress::styleFor(invocation.quiet, invocation.verbose),
                      arguments.options.launches);
    LearnSession session(arguments.options, state, log, invocation.logLevel, progress);
    const LearnReport report = session.run();
    print(arguments.json ? renderJson(report) : renderText(report));
    explainFailures(report, state, log);
    return exitCodeOf(report);
}

int learn(LearnArguments& arguments, const Invocation& invocation) {
    checkArguments(arguments, invocation);
    arguments.options.command = commandLineOf(arguments, invocation);
    const StateFolder state(invocation.statePath());
    state.create();
    if (!isDeviceRoot(arguments.realCpuset)) {
        return runInDeviceRoot({state.dumps(), arguments.realCpuset}, invocation.program);
    }
    warnOfDumpName(arguments);
    return learnHere(arguments, invocation, state);
}

}  // namespace

void addLearnVerb(CLI::App& app, Invocation& invocation) {
    const auto arguments = std::make_shared<LearnArguments>();
    LearnOptions& options = arguments->options;
    CLI::App* const verb = addVerb(
        app, invocation, "learn", "Launch COMMAND as PACKAGE and learn how long it takes to settle",
        "PACKAGE [OPTIONS] -- COMMAND [ARG...]");
    verb->add_option("PACKAGE", options.package, "Name to learn under, and COMMAND's argv[0]")
        ->required();
    verb->add_option("--launches", options.launches, "Launches at most (default 5)")
        ->type_name("N")
        ->check(CLI::Range(1, 499));
    verb->add_option("--type", options.type, "Launch type (default 1); 2 is the long launch")
        ->type_name("T");
    verb->add_option("--subtype", options.subtype, "Launch subtype (default 0)")->type_name("S");
    verb->add_flag("--dump", arguments->dump, "Write each launch's series to the dumps folder");
    verb->add_flag("--keep-name", arguments->keepName,
                   "Leave argv[0] alone; PACKAGE is the name that COMMAND shows");
    verb->add_flag("--fd-counts", options.fdCounts,
                   "Send the process's open descriptors too (hardened build)");
    verb->add_flag("--json", arguments->json, "Print one JSON object");
    verb->add_flag("--real-cpuset", arguments->realCpuset,
                   "Launch in the kernel's own top-app cpuset (root, cgroup version 1)");
    verb->callback([arguments, &invocation] {
        invocation.verb = [arguments, &invocation] { return learn(*arguments, invocation); };
    });
}

}  // namespace host
