// Runs a line through the shell.
#pragma once

#include <string>

namespace host {

/// Runs `line` by sh -c to its end, reading nothing and writing to the descriptor
/// `output`; returns its exit code, 128 + N when signal N ended it. An interruption
/// ends it, with what it has started, and so does the end of this process, however
/// that comes. Throws HostError.
int runShell(const std::string& line, int output);

}  // namespace host
