// What every child process has: a start without the host's signal settings, and an end.
#pragma once

#include <csignal>
#include <initializer_list>
#include <sys/wait.h>

namespace host {

/// Gives these signals their default effects, which exec leaves as they are where
/// they are ignored. Async-signal-safe: it stands between fork and exec.
inline void resetSignals(std::initializer_list<int> signals) {
    for (const int signal : signals)
        std::signal(signal, SIG_DFL);
}

/// Of a status that waitpid gives: as a shell has it, 128 + N after signal N.
inline int exitCodeOf(int status) {
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace host
