// The dumps of generations that have ended.
#pragma once

#include <cstdint>
#include <string>

namespace host {

/// Renames what is recorded of the package, if anything, to the names of that
/// generation, and removes what is recorded of the one that is too old to be kept
/// beside those after it. To be called by the one process that has the package.
/// Throws HostError.
void endDump(const std::string& folder, const std::string& package, std::int32_t generation);

}  // namespace host
