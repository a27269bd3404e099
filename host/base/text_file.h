// Reads small text files that a person has written.
#pragma once

#include <string>

#include "host/base/exit_code.h"

namespace host {

/// The whole file. Throws HostError with `code` and the file's name, and the
/// line where there is one, when the file cannot be read, is larger than 1 MiB,
/// or is no text: holds a control character other than tab and line ends.
std::string readTextFile(const std::string& path, ExitCode code);

/// The same, and empty when there is no such file.
std::string readTextFileIfAny(const std::string& path, ExitCode code);

}  // namespace host
