// orvo-host replay: recorded series through the library's analysis again.

#include <memory>

#include "host/base/exit_code.h"
#include "host/dump/dump_file.h"
#include "host/dump/launch_notes.h"
#include "host/dump/replay_report.h"
#include "host/library/log_sink.h"
#include "host/verbs/verb.h"
#include "host/verbs/verbs.h"
#include "platform/tavo_log.h"

namespace host {
namespace {

struct ReplayArguments {
    std::string source;
    std::string generation;  // empty: the newest
    ReplayOptions options;
    bool json = false;
};

int replay(const ReplayArguments& arguments, const Invocation& invocation) {
    refuseCommand(invocation);
    const DumpSource source = dumpGivenAs(arguments.source, arguments.generation, invocation);
    // This reads it whole, so that nothing is printed of a file that is refused.
    const LaunchNotes notes = notesOn(source);
    // The analysis logs; with --verbose that is worth seeing.
    LogSink log("", invocation.logLevel, invocation.verbose);
    setTavoLogLevel(invocation.verbose ? invocation.logLevel : 0);
    ReplayReport report(source, arguments.json);
    std::string text = report.start();
    DumpFile file(source);
    while (std::optional<DumpedLaunch> launch = file.next()) {
        notes.attachTo(*launch);
        text += report.add(*launch, replay(*launch, arguments.options));
        if (text.size() < kPrintedAtOnce) continue;
        print(text);
        text.clear();
    }
    print(text + report.end());
    if (report.replayedCount() == 0) {
        throw HostError(kNotLearned, "no launch in the dump was evaluated");
    }
    return report.equalCount() == report.replayedCount() ? kDone : kNotLearned;
}

}  // namespace

void addReplayVerb(Program& program, Invocation& invocation) {
    const auto arguments = std::make_shared<ReplayArguments>();
    Verb verb(program, invocation, "replay",
              "Analyse recorded series again and compare with what was recorded",
              "PACKAGE|FILE.csv [OPTIONS]");
    verb.option("PACKAGE", arguments->source, "A package with a dump, or a dump's file")
        .isRequired();
    addGenerationOption(verb, arguments->generation);
    verb.option("--type", arguments->options.type,
                "Launch type (default: guessed from the number of samples)")
        .named("T");
    verb.option("--subtype", arguments->options.subtype,
                "Launch subtype (default: one with which the results are equal)")
        .named("S");
    verb.flag("--json", arguments->json, "Print one JSON object");
    verb.runs([arguments, &invocation] { return replay(*arguments, invocation); });
}

}  // namespace host
