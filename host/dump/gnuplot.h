// Runs gnuplot.
#pragma once

#include <string>

namespace host {

/// What gnuplot writes to its standard output when it runs `script`. It is
/// started without a shell and reads no settings of the user's. Throws
/// HostError, kEnvironment, when it is not installed or fails.
std::string runGnuplot(const std::string& script);

}  // namespace host
