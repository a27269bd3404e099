// The name of a package's dump.
#pragma once

#include <string>
#include <string_view>

namespace host {

constexpr std::string_view kDumpSuffix = "_vmrss.csv";

/// In whatever folder it lies; the library cuts long ones.
std::string dumpNameOf(const std::string& package);

}  // namespace host
