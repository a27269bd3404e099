// What the verbs share.

#include "host/base/exit_code.h"
#include "host/base/standard_streams.h"
#include "host/dump/dump_file.h"
#include "host/export/recording.h"
#include "host/verbs/verb.h"
#include "host/verbs/verbs.h"

namespace host {
namespace {

bool isResultsFile(const std::string& argument) {
    constexpr std::string_view kEnd = ".json";
    return argument.size() > kEnd.size() &&
           argument.compare(argument.size() - kEnd.size(), kEnd.size(), kEnd) == 0;
}

}  // namespace

std::string Invocation::statePath() const {
    return stateFolder.empty() ? StateFolder::defaultPath() : stateFolder;
}

StateFolder Invocation::existingState() const {
    StateFolder state(statePath());
    if (!stateFolder.empty()) state.refuseIfMissing();
    return state;
}

DumpSource dumpGivenAs(const std::string& argument, const std::string& generation,
                       const Invocation& invocation) {
    const StateFolder state(invocation.statePath());
    DumpSource source = dumpSourceOf(argument, state);
    if (source.isOfState) invocation.existingState();
    if (generation.empty()) return source;
    const HistoryContents history = History(state.history()).read();
    return dumpSourceOf(source, generation, state, readGenerations(state, history));
}

bool isFile(const std::string& argument) {
    return isResultsFile(argument) || isDumpFile(argument);
}

std::vector<Recording> recordingsGivenAs(const std::string& argument, const std::string& generation,
                                         const Invocation& invocation) {
    if (!isResultsFile(argument)) return {Recording(dumpGivenAs(argument, generation, invocation))};
    if (!generation.empty())
        throw HostError(kUsage, "--generation needs a PACKAGE; a results file has no generations");
    return recordingsOf(readResults(argument), argument);
}

void addGenerationOption(Verb& verb, std::string& generation) {
    verb.option("--generation", generation,
                "Of PACKAGE's generations this one, by its number or the newest\n"
                "of its label (default the newest); show --generations lists them")
        .named("N|LABEL");
}

Generations readGenerations(const StateFolder& state, const HistoryContents& history) {
    Generations known = GenerationsFile(state.generations()).read();
    known.add(history);
    return known;
}

void tellFailure(const std::function<void()>& write) {
    try {
        write();
    } catch (const HostError& error) {
        sayLine(error.what());
    }
}

void refuseCommand(const Invocation& invocation) {
    if (invocation.arguments.hasCommand)
        throw HostError(kUsage, "this verb takes no COMMAND after --; learn, measure and join do");
}

}  // namespace host
