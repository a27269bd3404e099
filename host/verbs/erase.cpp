// orvo-host erase: forgets a package, through the library.

#include <memory>

#include "host/base/exit_code.h"
#include "host/base/new_files.h"
#include "host/library/log_sink.h"
#include "host/library/orvo_library.h"
#include "host/state/package_lock.h"
#include "host/state/state_folder.h"
#include "host/verbs/generation_steps.h"
#include "host/verbs/verb.h"
#include "host/verbs/verbs.h"

namespace host {
namespace {

int erase(const std::string& package, const Invocation& invocation) {
    refuseCommand(invocation);
    if (package.empty()) throw HostError(kUsage, "PACKAGE is empty");
    const StateFolder state = invocation.existingState();
    if (!isKnown(state, package)) {
        throw HostError(kNotLearned, "nothing is known of " + package + " in " + state.database() +
                                         "; orvo-host show lists what is");
    }
    state.refuseIfForeign();
    keepNewFilesPrivate();
    PackageLocks locks(state.packageLocks());
    locks.takeOrRefuse(package);
    LogSink log(state.log(), invocation.logLevel, invocation.verbose);
    const GenerationSteps steps(state, log);
    OrvoLibrary library(invocation.library(), state, log);
    steps.newest(package, library);  // one that was begun has erased it all, once it is finished
    if (isKnown(state, package)) steps.begin(package, std::nullopt, library);
    return kDone;
}

}  // namespace

void addEraseVerb(Program& program, Invocation& invocation) {
    const auto package = std::make_shared<std::string>();
    Verb verb(program, invocation, "erase",
              "Forget everything learned of PACKAGE; its next generation begins", "PACKAGE");
    verb.option("PACKAGE", *package, "The package to forget").isRequired();
    verb.runs([package, &invocation] { return erase(*package, invocation); });
}

}  // namespace host
