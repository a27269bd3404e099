// The terminal, lent to a command and taken back.
#pragma once

#include <sys/types.h>
#include <termios.h>

#include "host/base/unique_fd.h"

namespace host {

/// Throws HostError, kUsage, unless this process is in the foreground of a terminal.
void requireTerminal();

/// Takes the terminal back, with the settings that it had, when it goes.
class Terminal {
public:
    /// Throws HostError when there is none.
    Terminal();
    ~Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    /// For a child to have as its input and output.
    int fd() const { return mFile.get(); }

    /// Makes `group` the one that reads it and gets its keys' signals.
    void giveTo(pid_t group);
    void takeBack();

private:
    UniqueFd mFile;
    termios mSettings{};
    bool mIsLent = false;
};

/// Takes the terminal from a process group that has ended, for this process's
/// own, if that had it when this object was made: a host inside a process
/// namespace of its own cannot name the group that it was started in.
class TerminalReturn {
public:
    TerminalReturn();
    ~TerminalReturn();
    TerminalReturn(const TerminalReturn&) = delete;
    TerminalReturn& operator=(const TerminalReturn&) = delete;

private:
    UniqueFd mFile;  // not open when there is nothing to return
};

}  // namespace host
