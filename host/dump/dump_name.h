// The names of a package's dump and of the notes beside it.
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

/// The file of notes on the launches of a dump, beside it: NAME_launches.jsonl of
/// NAME_vmrss.csv, NAME_launches.2.jsonl of NAME_vmrss.2.csv. `dump` may be a path.
/// Any other name, as of a dump that was renamed, gets the end "_launches.jsonl".
std::string notesNameOf(const std::string& dump);

/// The file of the last probing launch, beside it: NAME_probe.jsonl, likewise.
std::string probeNameOf(const std::string& dump);

}  // namespace host
