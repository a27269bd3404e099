// The processes that a launch has started, found in /proc. What reads there
// throws HostError when the host itself cannot read; a process that is gone, or
// hidden from it, is a normal result.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace host {

struct ProcessStat {
    char state = '?';
    pid_t parent = 0;
    std::uint64_t threads = 0;     ///< the first one included; 0 when cut off
    std::uint64_t startTicks = 0;  ///< clock ticks from boot to start; 0 when cut off

    /// Not while another thread runs on: the first one is a zombie from its own end on.
    bool hasExited() const { return !isReadable() && threads <= 1; }

    /// Its name and memory go with its first thread, even while others run on.
    bool isReadable() const { return state != 'Z' && state != 'X'; }
};

/// Takes the text of a /proc/PID/stat file apart; nothing when it is cut off.
std::optional<ProcessStat> parseProcessStat(std::string_view text);

/// A process's start on the steady clock, as exact as a clock tick, mostly 10 ms.
double startedAtMs(std::uint64_t startTicks);

/// Nothing when the process is gone.
std::optional<ProcessStat> readProcessStat(pid_t process);

/// The first word of a process's command line, which the library compares with
/// package names; empty when the process is gone.
std::string shownName(pid_t process);

/// The entries of `folder` that are numbers: processes in /proc, threads in
/// /proc/PID/task.
std::set<pid_t> numbersIn(const std::string& folder);

/// Finds the descendants of this process that came after the tree was made.
///
/// The process must be a child subreaper: then a descendant whose parent ended
/// becomes its child and stays in the tree. The tree reads the parent of each
/// process once, when it first sees it, because reading all of /proc at every
/// look would cost more than the launch.
class ProcessTree {
public:
    /// Everything that runs now is foreign, children of this process included.
    ProcessTree();

    /// Looks for new and ended processes.
    void update();

    /// The processes that have not exited, as of the last look.
    const std::set<pid_t>& processes() const { return mOwn; }

    /// The thread ids of these processes.
    std::vector<pid_t> tasks() const;

private:
    bool isOwn(pid_t parent) const { return parent == mSelf || mOwn.count(parent) > 0; }
    void look(std::set<pid_t>& ended);
    bool adopt(std::set<pid_t>& fresh);

    const pid_t mSelf;
    std::set<pid_t> mForeign;
    std::set<pid_t> mOwn;
};

}  // namespace host
