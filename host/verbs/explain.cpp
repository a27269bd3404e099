// orvo-host explain: why a launch ended where it did.
#include <filesystem>
#include <memory>

#include "host/base/exit_code.h"
#include "host/dump/dump_file.h"
#include "host/dump/explanation_report.h"
#include "host/dump/launch_notes.h"
#include "host/library/log_sink.h"
#include "host/state/store_reader.h"
#include "host/verbs/verb.h"
#include "host/verbs/verbs.h"

namespace host {
namespace {

struct ExplainArguments {
    std::string source;
    std::string generation;   // empty: the newest
    std::int64_t launch = 0;  // 0: the last
    bool json = false;
};

std::optional<std::int32_t> storedMeanMs(const DumpSource& source, const StateFolder& state) {
    const bool isLearned = source.isOfState && !source.ended;
    if (!isLearned || !std::filesystem::exists(state.database())) return std::nullopt;
    return StoreReader(state.database()).package(source.package).finalEndpointMs();
}

// The launch of that number; with 0 the last. All others are summed up.
DumpedLaunch findLaunch(const DumpSource& source, std::int64_t number, DumpSummary& summary) {
    DumpFile file(source);
    LaunchNotes notes(source);
    DumpedLaunch found;
    while (std::optional<DumpedLaunch> launch = file.next()) {
        summary.add(*launch);
        notes.count(*launch);
        if (number == 0 || launch->number == number) found = std::move(*launch);
    }
    if (found.number == 0) refuseNumber(source, number, summary.launches);
    notes.attachTo(found);
    return found;
}

int explain(const ExplainArguments& arguments, const Invocation& invocation) {
    refuseCommand(invocation);
    const StateFolder state(invocation.statePath());
    LogSink log("", invocation.logLevel, invocation.verbose);
    const DumpSource source = dumpGivenAs(arguments.source, arguments.generation, invocation);
    DumpSummary summary;
    const DumpedLaunch launch = findLaunch(source, arguments.launch, summary);
    const ExplanationReport report{source, summary, launch, storedMeanMs(source, state)};
    print(arguments.json ? renderJson(report) : renderText(report));
    return kDone;
}

}  // namespace

void addExplainVerb(Program& program, Invocation& invocation) {
    const auto arguments = std::make_shared<ExplainArguments>();
    Verb verb(program, invocation, "explain", "Tell why a recorded launch ended where it did",
              "PACKAGE|FILE.csv [OPTIONS]");
    verb.option("PACKAGE", arguments->source, "A package with a dump, or a dump's file")
        .isRequired();
    addGenerationOption(verb, arguments->generation);
    verb.option("--launch", arguments->launch, "Which launch, from 1 on (default the last)")
        .named("N")
        .isPositive();
    verb.flag("--json", arguments->json, "Print one JSON object");
    verb.runs([arguments, &invocation] { return explain(*arguments, invocation); });
}

}  // namespace host
