// Writes a file that a person names.
#pragma once

#include <string>

namespace host {

/// Writes beside `file` and then over it, so that there is never half of it. Links
/// are followed; anything but a file is refused, for renaming over a device would
/// replace it. Throws HostError, kEnvironment.
void replaceFile(const std::string& file, const std::string& text);

/// Throws as replaceFile does for what can be known beforehand: a folder that is
/// missing or may not be written in, a name that is taken by something else.
void checkReplaceable(const std::string& file);

}  // namespace host
