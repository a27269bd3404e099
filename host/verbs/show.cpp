// orvo-host show: what is known of all packages or of one.
#include <filesystem>
#include <memory>
#include <set>
#include <unistd.h>

#include "host/base/exit_code.h"
#include "host/base/standard_streams.h"
#include "host/library/log_sink.h"
#include "host/state/history.h"
#include "host/state/package_report.h"
#include "host/state/state_folder.h"
#include "host/state/store_reader.h"
#include "host/verbs/verb.h"
#include "host/verbs/verbs.h"

namespace host {
namespace {

struct ShowArguments {
    std::string package;  // empty: all
    bool generations = false;
    bool json = false;
    bool csv = false;
};

std::vector<StoredPackage> readStore(const StateFolder& state, const std::string& package) {
    if (!std::filesystem::exists(state.database())) return {};
    StoreReader store(state.database());
    if (package.empty()) return store.packages();
    const StoredPackage one = store.package(package);
    return one.isKnown() ? std::vector<StoredPackage>{one} : std::vector<StoredPackage>{};
}

void addRows(std::vector<GenerationRow>& rows, const std::string& package,
             const Generations& generations, const HistoryContents& history) {
    for (const Generation& generation : generations.of(package))
        rows.push_back({package, generation, history.of(package, generation.number)});
}

[[noreturn]] void refuseUnknown(const std::string& package, const std::string& place) {
    throw HostError(kNotLearned, "nothing is known of " + package + " in " + place +
                                     "; learn it with orvo-host learn");
}

void tellThatNothingIsLearned(const StateFolder& state) {
    sayLine("nothing is learned in " + state.path() + " yet");
}

// The history and the generations' file still have what was erased.
std::string showGenerations(const StateFolder& state, const ShowArguments& arguments) {
    const HistoryContents history = History(state.history()).read();
    const Generations generations = readGenerations(state, history);
    std::set<std::string> packages = generations.packages();
    for (const StoredPackage& package : readStore(state, arguments.package))
        packages.insert(asUtf8(package.name));
    if (!arguments.package.empty()) {
        const std::string one = asUtf8(arguments.package);
        if (packages.count(one) == 0) refuseUnknown(arguments.package, state.path());
        packages = {one};
    }
    if (packages.empty()) tellThatNothingIsLearned(state);
    std::vector<GenerationRow> rows;
    for (const std::string& package : packages)
        addRows(rows, package, generations, history);
    if (arguments.json) return renderJson(rows);
    return arguments.csv ? renderCsv(rows, isatty(STDOUT_FILENO) != 0) : renderText(rows);
}

std::string showPackages(const StateFolder& state, const ShowArguments& arguments) {
    const std::vector<StoredPackage> packages = readStore(state, arguments.package);
    if (packages.empty() && !arguments.package.empty())
        refuseUnknown(arguments.package, state.database());
    if (packages.empty()) tellThatNothingIsLearned(state);
    const HistoryContents history = History(state.history()).read();
    const Generations generations = readGenerations(state, history);
    if (arguments.json) return renderJson(packages, history, generations);
    return arguments.csv ? renderCsv(packages, history, generations, isatty(STDOUT_FILENO) != 0)
                         : renderText(packages, history, generations);
}

int show(const ShowArguments& arguments, const Invocation& invocation) {
    refuseCommand(invocation);
    const StateFolder state = invocation.existingState();
    LogSink log("", invocation.logLevel, invocation.verbose);
    print(arguments.generations ? showGenerations(state, arguments)
                                : showPackages(state, arguments));
    return kDone;
}

}  // namespace

void addShowVerb(Program& program, Invocation& invocation) {
    const auto arguments = std::make_shared<ShowArguments>();
    Verb verb(program, invocation, "show", "Show what is known of all packages, or of one",
              "[PACKAGE] [OPTIONS]");
    verb.option("PACKAGE", arguments->package, "Only this one");
    verb.flag("--generations", arguments->generations,
              "All generations that are known, erased ones too: erase begins one,\n"
              "and learn --label does for another version");
    const Option json = verb.flag("--json", arguments->json, "Print one JSON object");
    verb.flag("--csv", arguments->csv, "Print a table of comma-separated values").excludes(json);
    verb.runs([arguments, &invocation] { return show(*arguments, invocation); });
}

}  // namespace host
