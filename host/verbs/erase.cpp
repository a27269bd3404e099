// orvo-host erase: forgets a package, through the library.
#include <CLI/CLI.hpp>
#include <filesystem>

#include "host/base/exit_code.h"
#include "host/library/log_sink.h"
#include "host/library/orvo_library.h"
#include "host/state/history.h"
#include "host/state/state_folder.h"
#include "host/state/store_reader.h"
#include "host/verbs/verbs.h"

namespace host {
namespace {

// The erase operation tells of no failure, so look.
void checkErased(const StateFolder& state, const std::string& package, LogSink& log) {
    if (!StoreReader(state.database()).package(package).isKnown()) return;
    throw HostError(kEnvironment, package + " could not be erased: " + log.lastDatabaseError() +
                                      "; free the disk or make " + state.database() + " writable");
}

int erase(const std::string& package, const Invocation& invocation) {
    refuseCommand(invocation);
    if (package.empty()) throw HostError(kUsage, "PACKAGE is empty");
    const StateFolder state(invocation.statePath());
    if (!std::filesystem::exists(state.database())) return kDone;
    LogSink log(state.log(), invocation.logLevel, invocation.verbose);
    OrvoLibrary library(state, log, invocation.logLevel);
    library.erase(package);
    checkErased(state, package, log);
    LaunchEntry entry;
    entry.launchedAtUnixMs = unixMs();
    entry.source = "erase";
    entry.package = package;
    entry.outcome = kErasedOutcome;
    History(state.history()).note(entry);
    return kDone;
}

}  // namespace

void addEraseVerb(CLI::App& app, Invocation& invocation) {
    const auto package = std::make_shared<std::string>();
    CLI::App* const verb =
        addVerb(app, invocation, "erase", "Forget everything learned of PACKAGE", "PACKAGE");
    verb->add_option("PACKAGE", *package, "The package to forget")->required();
    verb->callback([package, &invocation] {
        invocation.verb = [package, &invocation] { return erase(*package, invocation); };
    });
}

}  // namespace host
