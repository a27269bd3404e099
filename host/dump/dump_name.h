// The name of a package's dump.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace host {

constexpr std::string_view kDumpSuffix = "_vmrss.csv";

/// In whatever folder it lies; the library cuts long ones.
std::string dumpNameOf(const std::string& package);

/// Of an ended generation: PACKAGE_vmrss.2.csv, or a cut name with ".2" behind it.
std::string dumpNameOf(const std::string& package, std::int32_t generation);

}  // namespace host
