// What the verbs share.
#include <CLI/CLI.hpp>

#include "host/base/exit_code.h"
#include "host/base/version.h"
#include "host/dump/dump_file.h"
#include "host/verbs/verbs.h"

namespace host {
namespace {

class UsageFormatter : public CLI::Formatter {
public:
    explicit UsageFormatter(std::string usage) : mUsage(std::move(usage)) { column_width(28); }
    std::string make_usage(const CLI::App*, std::string) const override {
        return "Usage: " + mUsage + '\n';
    }
    // As man pages have it: "-v, --verbose".
    std::string make_option_name(const CLI::Option* option, bool isPositional) const override {
        std::string name = CLI::Formatter::make_option_name(option, isPositional);
        const std::size_t comma = name.find(',');
        return comma == std::string::npos ? name : name.insert(comma + 1, 1, ' ');
    }

private:
    const std::string mUsage;
};

constexpr std::uint32_t kHighestLogLevel = 255;  // the library looks at one byte

}  // namespace

std::string Invocation::statePath() const {
    return stateFolder.empty() ? StateFolder::defaultPath() : stateFolder;
}

StateFolder Invocation::existingState() const {
    StateFolder state(statePath());
    if (!stateFolder.empty()) state.refuseIfMissing();
    return state;
}

void describe(CLI::App& app, Invocation& invocation) {
    useUsage(app, "orvo-host VERB [OPTIONS]");
    app.set_version_flag("--version", versionOf("orvo-host"));
    app.footer(kExitCodeHelp);
    app.require_subcommand(0, 1);  // a second verb, named after the first, would run in its place
    addCommonOptions(app, invocation);
    addLearnVerb(app, invocation);
    addWatchVerb(app, invocation);
    addJoinVerb(app, invocation);
    addShowVerb(app, invocation);
    addEraseVerb(app, invocation);
    addDoctorVerb(app, invocation);
    addExplainVerb(app, invocation);
    addPlotVerb(app, invocation);
    addReplayVerb(app, invocation);
}

void useUsage(CLI::App& app, const std::string& usage) {
    app.formatter(std::make_shared<UsageFormatter>(usage));
}

CLI::App* addVerb(CLI::App& app, Invocation& invocation, const std::string& name,
                  const std::string& description, const std::string& usage) {
    CLI::App* const verb = app.add_subcommand(name, description)->group("Verbs");
    useUsage(*verb, "orvo-host " + name + ' ' + usage);
    verb->footer(kExitCodeHelp);
    addCommonOptions(*verb, invocation);
    return verb;
}

void addCommonOptions(CLI::App& app, Invocation& invocation) {
    app.add_option("--state", invocation.stateFolder,
                   "Folder of the database, properties, dumps and logs\n"
                   "(default $XDG_STATE_HOME/orvo)")
        ->type_name("DIR")
        ->group("Common options");
    app.add_flag("-v,--verbose", invocation.verbose, "Show the library's log on standard error")
        ->group("Common options");
    app.add_option("--log-level", invocation.logLevel,
                   "Level of the library's log in the state folder's orvo.log:\n"
                   "0 errors alone, 3 milestones (default), 4 every sample")
        ->type_name("N")
        ->check(CLI::Range(0U, kHighestLogLevel))
        ->group("Common options");
    app.add_flag("--quiet", invocation.quiet, "No progress on standard error")
        ->group("Common options");
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

void addGenerationOption(CLI::App& verb, std::string& generation) {
    verb.add_option("--generation", generation,
                    "Of PACKAGE's generations this one, by its number or the newest\n"
                    "of its label (default the newest); show --generations lists them")
        ->type_name("N|LABEL");
}

Generations readGenerations(const StateFolder& state, const HistoryContents& history) {
    Generations known = GenerationsFile(state.generations()).read();
    known.add(history);
    return known;
}

void refuseCommand(const Invocation& invocation) {
    if (invocation.arguments.hasCommand)
        throw HostError(kUsage, "this verb takes no COMMAND after --; learn and join do");
}

}  // namespace host
