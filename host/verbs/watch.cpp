// orvo-host watch: stays, and lets the library learn every launch that it sees.
#include <memory>

#include "host/base/exit_code.h"
#include "host/base/interruption.h"
#include "host/base/new_files.h"
#include "host/base/record_lock.h"
#include "host/base/standard_streams.h"
#include "host/dump/dump_writer.h"
#include "host/process/process_tree.h"
#include "host/root/device_root.h"
#include "host/state/watch_lock.h"
#include "host/verbs/generation_steps.h"
#include "host/verbs/shared_options.h"
#include "host/verbs/verb.h"
#include "host/verbs/verbs.h"
#include "host/watch/watch_cost.h"
#include "host/watch/watch_session.h"

namespace host {
namespace {

struct WatchArguments {
    WatchOptions options;
    std::string rulesFile;
    DumpArguments dumps;
    bool json = false;
    bool realCpuset = false;
    bool cost = false;
    double lookAfterSeconds = -1;  // without it: as long as each launch's window
};

std::string textOf(const LaunchEntry& entry) {
    std::string text = entry.package + ": ";
    if (entry.endpointMs) text += std::to_string(*entry.endpointMs) + " ms ";
    text += entry.outcome + toldText(entry.assessment, entry.endpointMs);
    if (entry.finalEndpointMs) {
        text += "; final endpoint " + std::to_string(*entry.finalEndpointMs) + " ms";
    }
    return text + '\n';
}

void writeDumpOf(const WatchedLaunch& watched, DumpWriter& dumps) {
    const SentLaunch& launch = watched.ended.launch;
    LaunchNote note;
    note.launchedAtUnixMs = launch.atUnixMs;
    note.kind = launch.kind;
    note.endpointMs = watched.endpointMs;
    note.assessment = watched.assessment;
    tellFailure([&] {
        dumps.write(launch.app.package, watched.ended.recorded, note,
                    startedAtMs(launch.app.startTicks), watched.seen.memoryKb);
    });
}

// A launch that is recorded without its generation counts as one of the newest.
std::optional<Generation> generationOf(const std::string& package, const GenerationSteps& steps,
                                       OrvoLibrary& library) {
    try {
        return steps.newest(package, library);
    } catch (const HostError& error) {
        sayLine(error.what());
        return std::nullopt;
    }
}

// Of the watch that is running; after a restart the same command asks the new one.
int tellCost(const StateFolder& state) {
    const std::optional<pid_t> watcher = WatchLock::holder(state.watchLock());
    if (!watcher) throw HostError(kNotLearned, "nobody watches " + state.path());
    const std::optional<WatchCost> cost = readWatchCost(*watcher);
    if (!cost) {
        throw HostError(kEnvironment,
                        describeHolder(watcher) + " watches " + state.path() +
                            ", but cannot be seen from here; ask outside the container");
    }
    print(renderText(*watcher, *cost));
    return kDone;
}

int watchHere(WatchArguments& arguments, const Invocation& invocation, const StateFolder& state) {
    noteInterruptions();
    keepNewFilesPrivate();
    const WatchLock lock(state.watchLock());
    DumpWriter dumps(state.dumps(), arguments.dumps.dumpsKept);
    if (arguments.dumps.dump) {
        arguments.options.keep = [&](const WatchedLaunch& launch) { writeDumpOf(launch, dumps); };
    }
    if (arguments.lookAfterSeconds >= 0)
        arguments.options.lookAfterMs = 1000 * arguments.lookAfterSeconds;
    LogSink log(state.log(), invocation.logLevel, invocation.verbose);
    arguments.options.tell = [&arguments](const LaunchEntry& entry) {
        print(arguments.json ? toJsonLine(entry) : textOf(entry), kLearnedIsKept);
    };
    const GenerationSteps steps(state, log);
    arguments.options.generationOf = [&](const std::string& package, OrvoLibrary& library) {
        return generationOf(package, steps, library);
    };
    WatchSession session(arguments.options, state, log, invocation.library());
    if (!invocation.quiet) {
        sayLine(std::string("watching ") + kTaskListPath + "; what runs now is known already");
    }
    session.run();
    return kDone;
}

int watch(WatchArguments& arguments, const Invocation& invocation) {
    refuseCommand(invocation);
    if (arguments.cost) return tellCost(invocation.existingState());
    if (!arguments.rulesFile.empty()) {
        arguments.options.rules = LaunchRules::read(arguments.rulesFile);
    }
    const StateFolder state(invocation.statePath());
    state.create();
    if (!isDeviceRoot(arguments.realCpuset)) {
        return runInDeviceRoot({state.dumps(), arguments.realCpuset}, invocation.program);
    }
    return watchHere(arguments, invocation, state);
}

}  // namespace

void addWatchVerb(Program& program, Invocation& invocation) {
    const auto arguments = std::make_shared<WatchArguments>();
    Verb verb(program, invocation, "watch",
              "Stay and learn every launch in the top-app task list, until "
              "TERM or INT",
              "[OPTIONS]");
    verb.option("--rules", arguments->rulesFile,
                "File of lines PATTERN WINDOW, short (default), extended or long, or\n"
                "PATTERN TYPE [SUBTYPE]: with which window which packages are launched")
        .named("FILE");
    verb.option("--interval-ms", arguments->options.intervalMs,
                "Time between two looks at the task list (default 50)")
        .named("N")
        .from(5, 10'000);
    verb.option("--look-after", arguments->lookAfterSeconds,
                "Report a launch once it has been watched for so long after the library's\n"
                "window, to see whether memory stays (default: as long as the window;\n"
                "0: at once)")
        .named("SECONDS")
        .from(0.0, 3600.0);
    addDumpOptions(verb, arguments->dumps);
    verb.flag("--json", arguments->json, "Print one JSON object a line");
    verb.flag("--cost", arguments->cost,
              "Only print what the orvo-host that watches the state folder costs");
    verb.flag("--real-cpuset", arguments->realCpuset,
              "Watch the kernel's own top-app cpuset (root, cgroup version 1)");
    verb.runs([arguments, &invocation] { return watch(*arguments, invocation); });
}

}  // namespace host
