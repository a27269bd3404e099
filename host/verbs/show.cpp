// orvo-host show: what is known of all packages or of one.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <unistd.h>

#include "host/base/exit_code.h"
#include "host/base/printable.h"
#include "host/library/log_sink.h"
#include "host/state/history.h"
#include "host/state/package_report.h"
#include "host/state/state_folder.h"
#include "host/state/store_reader.h"
#include "host/verbs/verbs.h"

namespace host {
namespace {

struct ShowArguments {
    std::string package;  // empty: all
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

std::string render(const std::vector<StoredPackage>& packages, const HistoryContents& history,
                   const ShowArguments& arguments) {
    if (arguments.json) return renderJson(packages, history);
    const bool isForTerminal = isatty(STDOUT_FILENO) != 0;
    return arguments.csv ? renderCsv(packages, history, isForTerminal)
                         : renderText(packages, history);
}

int show(const ShowArguments& arguments, const Invocation& invocation) {
    refuseCommand(invocation);
    const StateFolder state = invocation.existingState();
    LogSink log("", invocation.logLevel, invocation.verbose);
    const std::vector<StoredPackage> packages = readStore(state, arguments.package);
    if (packages.empty() && !arguments.package.empty()) {
        throw HostError(kNotLearned, "nothing is known of " + arguments.package + " in " +
                                         state.database() + "; learn it with orvo-host learn");
    }
    if (packages.empty()) {
        std::fprintf(stderr, "orvo-host: nothing is learned in %s yet\n",
                     printable(state.path()).c_str());
    }
    print(render(packages, History(state.history()).read(), arguments));
    return kDone;
}

}  // namespace

void addShowVerb(CLI::App& app, Invocation& invocation) {
    const auto arguments = std::make_shared<ShowArguments>();
    CLI::App* const verb =
        addVerb(app, invocation, "show", "Show what is known of all packages, or of one",
                "[PACKAGE] [OPTIONS]");
    verb->add_option("PACKAGE", arguments->package, "Only this one");
    CLI::Option* const json = verb->add_flag("--json", arguments->json, "Print one JSON object");
    verb->add_flag("--csv", arguments->csv, "Print a table of comma-separated values")
        ->excludes(json);
    verb->callback([arguments, &invocation] {
        invocation.verb = [arguments, &invocation] { return show(*arguments, invocation); };
    });
}

}  // namespace host
