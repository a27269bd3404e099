// Which build of the host's programs this is.
#pragma once

#include <string>

namespace host {

/// "1.0.0 (0123abc)": the commit as of the last configuring, without
/// it where there was no repository.
std::string buildVersion();

/// "orvo-host 1.0.0 (0123abc)".
std::string versionOf(const std::string& program);

}  // namespace host
