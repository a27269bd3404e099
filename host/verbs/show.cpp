// orvo-host show: what is known of all packages or of one.
#include <CLI/CLI.hpp>
#include <filesystem>

#include "host/exit_code.h"
#include "host/log_sink.h"
#include "host/report.h"
#include "host/state_folder.h"
#include "host/store_reader.h"
#include "host/verbs/verbs.h"

namespace host {
namespace {

struct ShowArguments {
    std::string package;  // empty: all
    bool json = false;
};

std::vector<StoredPackage> readStore(const StateFolder& state, const std::string& package) {
    if (!std::filesystem::exists(state.database())) return {};
    StoreReader store(state.database());
    if (package.empty()) return store.packages();
    const StoredPackage one = store.package(package);
    return one.isKnown() ? std::vector<StoredPackage>{one} : std::vector<StoredPackage>{};
}

int show(const ShowArguments& arguments, const Invocation& invocation) {
    refuseCommand(invocation);
    const StateFolder state(invocation.statePath());
    LogSink log("", invocation.logLevel, invocation.verbose);
    const std::vector<StoredPackage> packages = readStore(state, arguments.package);
    if (packages.empty() && !arguments.package.empty()) {
        throw HostError(kNotLearned, "nothing is known of " + arguments.package + " in " +
                                         state.database() + "; learn it with orvo-host learn");
    }
    print(arguments.json ? renderJson(packages) : renderText(packages));
    return kDone;
}

}  // namespace

void addShowVerb(CLI::App& app, Invocation& invocation) {
    const auto arguments = std::make_shared<ShowArguments>();
    CLI::App* const verb =
        addVerb(app, invocation, "show", "Show what is known of all packages, or of one",
                "[PACKAGE] [OPTIONS]");
    verb->add_option("PACKAGE", arguments->package, "Only this one");
    verb->add_flag("--json", arguments->json, "Print one JSON object");
    verb->callback([arguments, &invocation] {
        invocation.verb = [arguments, &invocation] { return show(*arguments, invocation); };
    });
}

}  // namespace host
