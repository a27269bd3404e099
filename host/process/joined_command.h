// A command that runs in the foreground within another process's task list.
#pragma once

#include <string>

#include "host/process/launched_command.h"

namespace host {

/// Runs the command with its descendants in the list `taskList`, and returns
/// its exit code, 128 + N when signal N ended it. Descendants join as they come,
/// as they do in a kernel's cpuset; what stays when the command ends stays in
/// the list. TERM and HUP are passed on; INT reaches the command by itself, from
/// the terminal. Throws HostError when the command cannot be started.
int runJoined(const CommandLine& command, const std::string& taskList);

}  // namespace host
