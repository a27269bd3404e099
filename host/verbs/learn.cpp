// orvo-host learn: launches a command and lets the library learn its endpoint.
#include <memory>
#include <optional>

#include "host/base/exit_code.h"
#include "host/base/interruption.h"
#include "host/base/new_files.h"
#include "host/base/standard_streams.h"
#include "host/dump/dump_writer.h"
#include "host/dump/recorded_probe.h"
#include "host/learn/learn_advice.h"
#include "host/learn/learn_session.h"
#include "host/root/device_root.h"
#include "host/state/package_lock.h"
#include "host/state/store_holder.h"
#include "host/verbs/generation_steps.h"
#include "host/verbs/shared_options.h"
#include "host/verbs/verb.h"
#include "host/verbs/verbs.h"

namespace host {
namespace {

struct LearnArguments {
    LaunchArguments launch;
    LearnOptions options;
    std::optional<std::string> label;  // without: go on with the newest generation
    DumpArguments dumps;
    bool givesInput = false;
    bool givesTerminal = false;
    bool json = false;
    bool strict = false;

    const std::string& package() const { return launch.settings.package; }
};

CommandInput inputOf(const LearnArguments& arguments) {
    if (arguments.givesTerminal) return CommandInput::kTerminal;
    return arguments.givesInput ? CommandInput::kHosts : CommandInput::kNone;
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

void checkArguments(LearnArguments& arguments, const Invocation& invocation) {
    checkLaunchArguments(arguments.launch, "PACKAGE");
    const std::string ofLabel = arguments.label ? labelFault(*arguments.label) : "";
    if (!ofLabel.empty()) throw HostError(kUsage, "the --label " + ofLabel);
    if (invocation.arguments.command.empty()) {
        throw HostError(kUsage, "COMMAND is missing: orvo-host learn PACKAGE -- COMMAND [ARG...]");
    }
    checkInput(arguments);
}

void warnOfDumpName(const LearnArguments& arguments) {
    if (!arguments.dumps.dump || arguments.package().find('/') == std::string::npos) return;
    sayLine("no dump is written for a PACKAGE with '/' in it");
}

AdviceContext adviceContextOf(const LearnArguments& arguments, const Invocation& invocation,
                              const StateFolder& state, const CommandOutput& output) {
    const std::string folder =
        invocation.stateFolder.empty() ? "" : " --state " + invocation.stateFolder;
    return {"orvo-host erase " + arguments.package() + folder, state.log(), output.path()};
}

void advise(const LearnReport& report, const AdviceContext& context) {
    for (const std::string& line : adviceOn(report, context))
        sayLine(line);
}

void writeDumpOf(const LearnOptions& options, const MadeLaunch& launch, DumpWriter& dumps) {
    LaunchNote note;
    note.launchedAtUnixMs = launch.launchedAtUnixMs;
    note.kind = launch.kind;
    note.endpointMs = launch.result.endpointMs;
    note.assessment = launch.result.assessment;
    const auto& judged = launch.result.judged;
    tellFailure([&] {
        dumps.write(options.settings.package, launch.recorded, note, launch.startedAtMs,
                    judged ? judged->seen.memoryKb : Series());
    });
}

void writeProbeOf(const LearnOptions& options, const ProbeSight& sight, DumpWriter& dumps) {
    tellFailure([&] { dumps.writeProbe(options.settings.package, noteOf(sight)); });
}

Generation beginLearning(const LearnArguments& arguments, const GenerationSteps& steps,
                         OrvoLibrary& library) {
    const std::string& package = arguments.package();
    return arguments.label ? steps.labelled(package, *arguments.label, library)
                           : steps.newest(package, library);
}

int learnHere(LearnArguments& arguments, const Invocation& invocation, const StateFolder& state) {
    noteInterruptions();
    DumpWriter dumps(state.dumps(), arguments.dumps.dumpsKept);
    LearnOptions& options = arguments.options;
    if (arguments.dumps.dump && arguments.package().find('/') == std::string::npos) {
        options.keep = [&](const MadeLaunch& launch) { writeDumpOf(options, launch, dumps); };
        options.keepProbe = [&](const ProbeSight& sight) { writeProbeOf(options, sight, dumps); };
    }
    keepNewFilesPrivate();
    const CommandOutput output(state);
    LogSink log(state.log(), invocation.logLevel, invocation.verbose);
    const GenerationSteps steps(state, log);
    options.begin = [&](OrvoLibrary& library) { return beginLearning(arguments, steps, library); };
    const bool isQuiet = invocation.quiet || arguments.givesTerminal;
    Progress progress(Progress::styleFor(isQuiet, invocation.verbose));
    LearnSession session(options, state, output, log, invocation.library(), progress);
    const LearnReport report = session.run();
    print(arguments.json ? renderJson(report) : renderText(report), kLearnedIsKept);
    advise(report, adviceContextOf(arguments, invocation, state, output));
    return exitCodeOf(report, isInterrupted(), arguments.strict);
}

int learn(LearnArguments& arguments, const Invocation& invocation) {
    checkArguments(arguments, invocation);
    LearnOptions& options = arguments.options;
    options.kind = kindAskedFor(arguments.launch);
    options.mayProbe = !arguments.givesInput;
    options.settings = arguments.launch.settings;
    options.settings.command = commandLineOf(arguments.launch, invocation.arguments.command);
    options.settings.command.input = inputOf(arguments);
    const StateFolder state(invocation.statePath());
    state.create();
    // Out here, for inside the private root other processes may be out of sight.
    std::optional<PackageLocks> locks;
    if (!hasArrivedInDeviceRoot()) {
        locks.emplace(state.packageLocks()).takeOrRefuse(arguments.package());
    }
    if (!isDeviceRoot(arguments.launch.realCpuset)) {
        return runInDeviceRoot({state.dumps(), arguments.launch.realCpuset, true},
                               invocation.program);
    }
    warnOfDumpName(arguments);
    return learnHere(arguments, invocation, state);
}

}  // namespace

void addLearnVerb(Program& program, Invocation& invocation) {
    const auto arguments = std::make_shared<LearnArguments>();
    LearnOptions& options = arguments->options;
    Verb verb(program, invocation, "learn",
              "Launch COMMAND as PACKAGE and learn how long it takes to settle",
              "PACKAGE [OPTIONS] -- COMMAND [ARG...]");
    verb.option("PACKAGE", arguments->launch.settings.package,
                "Name to learn under, and COMMAND's argv[0]")
        .isRequired();
    addLaunchOptions(verb, arguments->launch, "Learn",
                     ",\nor what launches that are stored already had");
    verb.option("--label", arguments->label,
                "Learn the version of PACKAGE that has this label: what is learned of\n"
                "one with another label or none is erased, and a generation begins")
        .named("TEXT");
    verb.option("--launches", options.launches, "Launches at most (default 5)")
        .named("N")
        .from(1, 499);
    verb.flag("--strict", arguments->strict, "Exit with 4 when what was learned is doubted");
    addDumpOptions(verb, arguments->dumps);
    verb.flag("--stdin", arguments->givesInput,
              "Let COMMAND read our standard input, which is /dev/null to it otherwise");
    verb.flag("--tty", arguments->givesTerminal,
              "Hand the terminal over to COMMAND: input, output and keys; no progress");
    verb.flag("--json", arguments->json, "Print one JSON object");
    verb.runs([arguments, &invocation] { return learn(*arguments, invocation); });
}

}  // namespace host
