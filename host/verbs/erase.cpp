// orvo-host erase: forgets a package, through the library.
#include <CLI/CLI.hpp>
#include <filesystem>

#include "host/base/exit_code.h"
#include "host/base/new_files.h"
#include "host/library/log_sink.h"
#include "host/library/orvo_library.h"
#include "host/state/history.h"
#include "host/state/package_lock.h"
#include "host/state/state_folder.h"
#include "host/state/store_holder.h"
#include "host/state/store_reader.h"
#include "host/verbs/verbs.h"

namespace host {
namespace {

void checkKnown(const StateFolder& state, const std::string& package) {
    const bool isKnown = std::filesystem::exists(state.database()) &&
                         StoreReader(state.database()).package(package).isKnown();
    if (isKnown) return;
    throw HostError(kNotLearned, "nothing is known of " + package + " in " + state.database() +
                                     "; orvo-host show lists what is");
}

// The erase operation tells of no failure, so look.
void checkErased(const StateFolder& state, const std::string& package, LogSink& log) {
    if (!StoreReader(state.database()).package(package).isKnown()) return;
    throw HostError(kEnvironment, package + " could not be erased: " +
                                      describeStoreFault(log.lastDatabaseError(), state.database(),
                                                         "free the disk or make " +
                                                             state.database() + " writable"));
}

int erase(const std::string& package, const Invocation& invocation) {
    refuseCommand(invocation);
    if (package.empty()) throw HostError(kUsage, "PACKAGE is empty");
    const StateFolder state = invocation.existingState();
    checkKnown(state, package);
    state.refuseIfForeign();
    keepNewFilesPrivate();
    PackageLocks locks(state.packageLocks());
    locks.takeOrRefuse(package);
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
