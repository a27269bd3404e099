// Finds and reads the dump of a package.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/dump/launch.h"
#include "host/state/state_folder.h"

namespace host {

/// Which dump a person means.
struct DumpSource {
    std::string file;
    std::string package;
    bool isOfState;  ///< named by its package, so that the store is of it too
};

/// `argument` is a file when it ends in ".csv" or holds a '/', which no package
/// with a dump does; otherwise it is a package, whose dump is in `state`.
/// Throws HostError, kUsage, when it is empty.
DumpSource dumpSourceOf(const std::string& argument, const StateFolder& state);

struct Dump {
    DumpSource source;
    std::vector<DumpedLaunch> launches;  ///< at least one

    /// Throws HostError, kUsage, when there is no launch of that number.
    const DumpedLaunch& launch(int number) const;
};

/// Reads a dump whole. Throws HostError: kNotLearned when the package has none,
/// kEnvironment when the file cannot be read, kUsage when it is no dump, holds
/// no launch or is too large.
Dump readDump(const DumpSource& source);

}  // namespace host
