// Reads small text files.
#pragma once

#include <string>

#include "host/base/exit_code.h"

namespace host {

/// The whole file, which a person names. Throws HostError with `code` and the file's name, and the
/// line where there is one, when the file cannot be read, is larger than 1 MiB,
/// or is not text: holds a control character other than tab and line ends.
std::string readTextFile(const std::string& path, ExitCode code);

/// The same of a file that the host keeps; empty when there is none. Throws with
/// kEnvironment.
std::string readKeptTextFile(const std::string& path);

}  // namespace host
