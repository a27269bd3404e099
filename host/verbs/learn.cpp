// orvo-host learn: launches a command and lets the library learn its endpoint.
#include <cstdio>
#include <memory>
#include <optional>

#include "host/base/exit_code.h"
#include "host/base/interruption.h"
#include "host/base/new_files.h"
#include "host/base/printable.h"
#include "host/dump/dump_writer.h"
#include "host/dump/recorded_probe.h"
#include "host/learn/learn_advice.h"
#include "host/learn/learn_session.h"
#include "host/library/fd_counts.h"
#include "host/process/command.h"
#include "host/process/package_name.h"
#include "host/root/device_root.h"
#include "host/state/package_lock.h"
#include "host/state/store_holder.h"
#include "host/verbs/generation_steps.h"
#include "host/verbs/verb.h"
#include "host/verbs/verbs.h"

namespace host {
namespace {

struct LearnArguments {
    LearnOptions options;
    std::optional<std::string> label;  // without: go on with the newest generation
    std::string window;                // empty: not given, which means auto
    std::optional<std::int32_t> type;
    std::optional<std::int32_t> subtype;
    bool dump = false;
    std::size_t dumpsKept = kDumpsKept;
    bool keepName = false;
    bool givesInput = false;
    bool givesTerminal = false;
    bool json = false;
    bool strict = false;
    double lookAfterSeconds = -1;  // without it: as long as the window
    bool realCpuset = false;
};

// A shell under PACKAGE's name would be taken for the application that it starts.
CommandLine commandLineOf(const LearnArguments& arguments, const Invocation& invocation) {
    const std::vector<std::string>& command = invocation.arguments.command;
    CommandLine line{findProgram(command.front()), command};
    const bool keepsName = arguments.keepName || isShell(command.front());
    if (!keepsName) line.arguments.front() = arguments.options.settings.package;
    if (arguments.givesInput) line.input = CommandInput::kHosts;
    if (arguments.givesTerminal) line.input = CommandInput::kTerminal;
    return line;
}

void checkInput(const LearnArguments& arguments) {
    if (arguments.givesInput && arguments.givesTerminal) {
        throw HostError(kUsage, "COMMAND reads one input: give --stdin or --tty");
    }
    if (arguments.givesTerminal) requireTerminal();
    if (arguments.givesInput && isatty(STDIN_FILENO) != 0) {
        throw HostError(kUsage, "--stdin: standard input is a terminal; give --tty");
    }
}

/// None for a probing launch to choose.
std::optional<LaunchKind> kindAskedFor(const LearnArguments& arguments) {
    const std::string& name = arguments.window;
    const bool hasNumbers = arguments.type || arguments.subtype;
    if (!name.empty()) {
        if (hasNumbers)
            throw HostError(kUsage,
                            "--window stands for --type and --subtype: give one or the other");
        const std::optional<Window> window = windowNamed(name);
        if (!window && name != "auto")
            throw HostError(kUsage,
                            "the --window '" + name + "' is none of short, extended, long, auto");
        return window ? std::optional(kindOf(*window)) : std::nullopt;
    }
    if (!hasNumbers) return std::nullopt;
    const LaunchKind kind{arguments.type.value_or(1), arguments.subtype.value_or(0)};
    const std::string fault = launchKindFault(kind);
    if (!fault.empty()) throw HostError(kUsage, "launch " + fault);
    return kind;
}

void checkArguments(const LearnArguments& arguments, const Invocation& invocation) {
    const LearnOptions& options = arguments.options;
    const std::string fault = packageNameFault(options.settings.package);
    if (!fault.empty()) throw HostError(kUsage, "PACKAGE " + fault);
    const std::string followFault =
        options.settings.follow.empty() ? "" : packageNameFault(options.settings.follow);
    if (!followFault.empty()) throw HostError(kUsage, "the name to --follow " + followFault);
    const std::string ofLabel = arguments.label ? labelFault(*arguments.label) : "";
    if (!ofLabel.empty()) throw HostError(kUsage, "the --label " + ofLabel);
    if (invocation.arguments.command.empty()) {
        throw HostError(kUsage, "COMMAND is missing: orvo-host learn PACKAGE -- COMMAND [ARG...]");
    }
    checkInput(arguments);
    if (options.settings.fdCounts && !kTakesFdCounts) {
        throw HostError(kUsage,
                        "--fd-counts needs a library built with -DORVO_HARDENED_LOCKING=ON "
                        "(preset hardened); this one would block on them");
    }
}

void warnOfDumpName(const LearnArguments& arguments) {
    if (!arguments.dump || arguments.options.settings.package.find('/') == std::string::npos)
        return;
    std::fprintf(stderr, "orvo-host: no dump is written for a PACKAGE with '/' in it\n");
}

AdviceContext adviceContextOf(const LearnArguments& arguments, const Invocation& invocation,
                              const StateFolder& state, const CommandOutput& output) {
    const std::string folder =
        invocation.stateFolder.empty() ? "" : " --state " + invocation.stateFolder;
    return {"orvo-host erase " + arguments.options.settings.package + folder, state.log(),
            output.path()};
}

void advise(const LearnReport& report, const AdviceContext& context) {
    for (const std::string& line : adviceOn(report, context))
        std::fprintf(stderr, "orvo-host: %s\n", printable(line).c_str());
}

void writeDumpOf(const LearnOptions& options, const MadeLaunch& launch, DumpWriter& dumps) {
    LaunchNote note;
    note.launchedAtUnixMs = launch.launchedAtUnixMs;
    note.kind = launch.kind;
    note.endpointMs = launch.result.endpointMs;
    note.assessment = launch.result.assessment;
    const auto& judged = launch.result.judged;
    try {
        dumps.write(options.settings.package, launch.recorded, note, launch.startedAtMs,
                    judged ? judged->seen.memoryKb : Series());
    } catch (const HostError& error) {
        std::fprintf(stderr, "orvo-host: %s\n", printable(error.what()).c_str());
    }
}

void writeProbeOf(const LearnOptions& options, const ProbeSight& sight, DumpWriter& dumps) {
    try {
        dumps.writeProbe(options.settings.package, noteOf(sight));
    } catch (const HostError& error) {
        std::fprintf(stderr, "orvo-host: %s\n", printable(error.what()).c_str());
    }
}

Generation beginLearning(const LearnArguments& arguments, const GenerationSteps& steps,
                         OrvoLibrary& library) {
    const std::string& package = arguments.options.settings.package;
    return arguments.label ? steps.labelled(package, *arguments.label, library)
                           : steps.newest(package, library);
}

int learnHere(LearnArguments& arguments, const Invocation& invocation, const StateFolder& state) {
    noteInterruptions();
    state.removeDumpProperty();  // or the library would write its own, under the shown name
    DumpWriter dumps(state.dumps(), arguments.dumpsKept);
    LearnOptions& options = arguments.options;
    if (arguments.dump && options.settings.package.find('/') == std::string::npos) {
        options.keep = [&](const MadeLaunch& launch) { writeDumpOf(options, launch, dumps); };
        options.keepProbe = [&](const ProbeSight& sight) { writeProbeOf(options, sight, dumps); };
    }
    if (arguments.lookAfterSeconds >= 0)
        options.settings.lookAfterMs = 1000 * arguments.lookAfterSeconds;
    keepNewFilesPrivate();
    const CommandOutput output(state);
    LogSink log(state.log(), invocation.logLevel, invocation.verbose);
    const GenerationSteps steps(state, log);
    options.begin = [&](OrvoLibrary& library) { return beginLearning(arguments, steps, library); };
    const bool isQuiet = invocation.quiet || arguments.givesTerminal;
    Progress progress(Progress::styleFor(isQuiet, invocation.verbose));
    LearnSession session(options, state, output, log, invocation.logLevel, progress);
    const LearnReport report = session.run();
    print(arguments.json ? renderJson(report) : renderText(report), kLearnedIsKept);
    advise(report, adviceContextOf(arguments, invocation, state, output));
    return exitCodeOf(report, isInterrupted(), arguments.strict);
}

int learn(LearnArguments& arguments, const Invocation& invocation) {
    checkArguments(arguments, invocation);
    arguments.options.kind = kindAskedFor(arguments);
    arguments.options.mayProbe = !arguments.givesInput;
    arguments.options.settings.command = commandLineOf(arguments, invocation);
    const StateFolder state(invocation.statePath());
    state.create();
    // Out here, for inside the private root other processes may be out of sight.
    std::optional<PackageLocks> locks;
    if (!hasArrivedInDeviceRoot()) {
        locks.emplace(state.packageLocks()).takeOrRefuse(arguments.options.settings.package);
    }
    if (!isDeviceRoot(arguments.realCpuset)) {
        return runInDeviceRoot({state.dumps(), arguments.realCpuset, true}, invocation.program);
    }
    warnOfDumpName(arguments);
    return learnHere(arguments, invocation, state);
}

}  // namespace

void addLearnVerb(CLI::App& app, Invocation& invocation) {
    const auto arguments = std::make_shared<LearnArguments>();
    LearnOptions& options = arguments->options;
    Verb verb(app, invocation, "learn",
              "Launch COMMAND as PACKAGE and learn how long it takes to settle",
              "PACKAGE [OPTIONS] -- COMMAND [ARG...]");
    verb.option("PACKAGE", options.settings.package, "Name to learn under, and COMMAND's argv[0]")
        .isRequired();
    verb.option("--follow", options.settings.follow,
                "Learn the process of COMMAND that shows this name (default:\n"
                "PACKAGE, or the name that is shown in its place)")
        .named("NAME");
    verb.option("--label", arguments->label,
                "Learn the version of PACKAGE that has this label: what is learned of\n"
                "one with another label or none is erased, and a generation begins")
        .named("TEXT");
    verb.option("--launches", options.launches, "Launches at most (default 5)")
        .named("N")
        .from(1, 499);
    verb.option("--window", arguments->window,
                "How long the library samples a launch: short (1 s), extended (3 s),\n"
                "long (up to 60 s), or auto (default): what a probing launch asks for,\n"
                "or what launches that are stored already had")
        .named("NAME");
    verb.option("--type", arguments->type,
                "The window by the launch type that the library is told: 1 (default)\n"
                "or 2, the long launch")
        .named("T");
    verb.option("--subtype", arguments->subtype,
                "And the subtype (default 0): of type 1, 1 and 2 are extended; of type\n"
                "2, 1 and 2 must be stable for longer, -1 not as long")
        .named("S");
    verb.option("--look-after", arguments->lookAfterSeconds,
                "Go on looking behind each launch for so long, to see whether memory\n"
                "stays (default: as long as the window, one, three or sixty seconds;\n"
                "0: do not)")
        .named("SECONDS")
        .from(0.0, 3600.0);
    verb.flag("--strict", arguments->strict, "Exit with 4 when what was learned is doubted");
    verb.flag("--dump", arguments->dump, "Write each launch's series to the dumps folder");
    verb.option("--keep-dumps", arguments->dumpsKept,
                "Launches of PACKAGE that its dump keeps, the last (default 50)")
        .named("N")
        .from(1, 1'000'000);
    verb.flag("--keep-name", arguments->keepName,
              "Leave COMMAND's argv[0] alone, for a program that needs its own");
    verb.flag("--stdin", arguments->givesInput,
              "Let COMMAND read our standard input, which is /dev/null to it otherwise");
    verb.flag("--tty", arguments->givesTerminal,
              "Hand the terminal over to COMMAND: input, output and keys; no progress");
    verb.flag("--fd-counts", options.settings.fdCounts,
              "Send the process's open descriptors too (hardened build)");
    verb.flag("--json", arguments->json, "Print one JSON object");
    verb.flag("--real-cpuset", arguments->realCpuset,
              "Launch in the kernel's own top-app cpuset (root, cgroup version 1)");
    verb.runs([arguments, &invocation] { return learn(*arguments, invocation); });
}

}  // namespace host
