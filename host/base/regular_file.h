// Opens files in whose place somebody may have put something else.
#pragma once

#include <string>

#include "host/base/exit_code.h"
#include "host/base/unique_fd.h"

namespace host {

/// Anything but a regular file is refused before it can do harm: a pipe would
/// stall its reader for good, a device would act. Where there is none, what is
/// returned is not open, and errno is ENOENT; every other failure is a HostError.

/// A file that a person names, for reading; links are followed.
UniqueFd openGivenFile(const std::string& path, ExitCode code);

/// A file that the host keeps, with open()'s `flags`. A link in its place is
/// refused, for it would lead the host to write elsewhere. A new file is for its
/// owner alone.
UniqueFd openKeptFile(const std::string& path, int flags);

/// The same refusal for a file that other code opens by its path.
void refuseUnlessRegular(const std::string& path);

}  // namespace host
