// orvo-host join: runs a command where a watching orvo-host sees its launch.

#include <memory>

#include "host/base/exit_code.h"
#include "host/process/command.h"
#include "host/process/joined_command.h"
#include "host/process/package_name.h"
#include "host/state/state_folder.h"
#include "host/state/watch_lock.h"
#include "host/verbs/verb.h"
#include "host/verbs/verbs.h"

namespace host {
namespace {

// Our own in a private root or on a device, else that of the process that
// watches: its root is there to be entered as long as it runs.
std::string findTaskList(const StateFolder& state) {
    if (access(kTaskListPath, F_OK) == 0) return kTaskListPath;
    const std::optional<pid_t> watcher = WatchLock::holder(state.watchLock());
    if (!watcher) {
        throw HostError(kNotLearned,
                        "nobody watches " + state.path() +
                            "; start orvo-host watch in another terminal, or give its --state DIR");
    }
    if (*watcher > 0) return "/proc/" + std::to_string(*watcher) + "/root" + kTaskListPath;
    throw HostError(kEnvironment, "who watches " + state.path() +
                                      " cannot be seen from here; join it outside the container");
}

int join(const std::string& package, const Invocation& invocation) {
    const std::vector<std::string>& command = invocation.arguments.command;
    if (command.empty()) {
        throw HostError(kUsage, "COMMAND is missing: orvo-host join [PACKAGE] -- COMMAND [ARG...]");
    }
    if (!package.empty() && !looksLikePackage(package)) {
        throw HostError(kUsage,
                        "PACKAGE must read like com.example.app, or watch takes no notice of it");
    }
    CommandLine line{findProgram(command.front()), command};
    if (!package.empty()) line.arguments.front() = package;
    return runJoined(line, findTaskList(StateFolder(invocation.statePath())));
}

}  // namespace

void addJoinVerb(Program& program, Invocation& invocation) {
    const auto package = std::make_shared<std::string>();
    Verb verb(program, invocation, "join",
              "Run COMMAND, and what it starts, in the task list of the orvo-host that\n"
              "watches the same state folder; it goes on when that ends",
              "[PACKAGE] [OPTIONS] -- COMMAND [ARG...]");
    verb.option("PACKAGE", *package, "COMMAND's argv[0]; left alone when not given");
    verb.runs([package, &invocation] { return join(*package, invocation); });
}

}  // namespace host
