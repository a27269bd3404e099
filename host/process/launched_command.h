// One run of COMMAND as an application's launch: its processes, from the fork
// to the last one's end.
#pragma once

#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

#include "host/base/unique_fd.h"
#include "host/process/group_guard.h"
#include "host/process/process_tree.h"
#include "host/process/task_list.h"
#include "host/process/terminal.h"

namespace host {

enum class CommandInput {
    kNone,      ///< an empty one
    kHosts,     ///< what the host itself reads
    kTerminal,  ///< the terminal, for its output and its keys' signals too
};

struct CommandLine {
    std::string file;
    std::vector<std::string> arguments;  ///< argv[0] included
    CommandInput input = CommandInput::kNone;
};

/// Used by one thread, which must outlive the command: the kernel ends the
/// command when that thread ends.
class LaunchedCommand {
public:
    /// Forks a process that has joined the top-app task list, in a process
    /// group of its own, and stands ready to run. What it prints goes to the
    /// descriptor `output`, which must not be one of the standard ones, or to the
    /// terminal. Throws HostError.
    LaunchedCommand(const CommandLine& commandLine, int output);

    /// Ends what is left of it.
    ~LaunchedCommand();
    LaunchedCommand(const LaunchedCommand&) = delete;
    LaunchedCommand& operator=(const LaunchedCommand&) = delete;

    /// Lets it run the program. Throws HostError.
    void release();

    /// When that was, on the steady clock: the program's start.
    double releasedMs() const { return mReleasedMs; }

    /// Takes notice of new and ended processes and keeps the task list; to be
    /// called every few tens of ms while the list is read. Throws HostError when
    /// the list cannot be kept.
    void tend();

    /// Buries children that ended, and heeds the terminal's keys.
    void reap();

    /// True when no process of it is left, as of the last look.
    bool hasEnded() const { return mTree.processes().empty(); }

    /// Ends all its processes, by TERM and after a grace by KILL, also those
    /// that left the process group.
    void end();

    /// The processes of it that are left, as of the last look.
    const std::set<pid_t>& processes() const { return mTree.processes(); }

private:
    void forkChild(const CommandLine& commandLine, int output);
    void expectReport();
    void look();
    void heedKeys(int status) const;
    void endProcesses();
    void signalAll(int signal);
    bool awaitEnd(int limitMs);

    GroupGuard mGuard;                        // before the tree, which would count it in
    ProcessTree mTree;                        // before the fork: what runs by then is not ours
    std::optional<TaskListKeeper> mTaskList;  // none where the kernel keeps it
    std::optional<Terminal> mTerminal;        // none unless the command gets it
    UniqueFd mGate;
    UniqueFd mReports;
    std::string mProgram;
    pid_t mPid = -1;
    double mReleasedMs = 0;
};

}  // namespace host
