// Finds and reads the dump of a package.
#pragma once

#include <optional>
#include <string>

#include "host/base/unique_fd.h"
#include "host/dump/launch_grouping.h"
#include "host/state/generations.h"
#include "host/state/state_folder.h"

namespace host {

/// Which dump a person means.
struct DumpSource {
    std::string file;
    std::string package;
    bool isOfState;                     ///< named by its package, so that the store is of it too
    std::optional<Generation> ended{};  ///< whose dump it is; of the newest generation none
};

/// "com.a", "com.a, generation 1 (v1)".
std::string titleOf(const DumpSource& source);

/// Whether it ends in ".csv" or holds a '/', which no package with a dump does.
bool isDumpFile(const std::string& argument);

/// `argument` is such a file, or a package, whose dump is in `state`.
/// Throws HostError, kUsage, when it is empty.
DumpSource dumpSourceOf(const std::string& argument, const StateFolder& state);

/// The dump of one generation of a package, given by its number or its label.
/// Throws HostError: kUsage when `source` is a file, or there is none such.
DumpSource dumpSourceOf(DumpSource source, const std::string& generation, const StateFolder& state,
                        const Generations& known);

/// A dump's launches, one after the other; files of any size are read in bounded
/// memory.
class DumpFile {
public:
    /// Throws HostError: kNotLearned when the package has no dump, kEnvironment
    /// when the file cannot be read.
    explicit DumpFile(const DumpSource& source);

    /// The next launch; none at the end. Throws HostError: kUsage when the file is
    /// no dump or holds no launch, kEnvironment when it cannot be read.
    std::optional<DumpedLaunch> next();

private:
    const std::string mShownName;
    const UniqueFd mFile;
    LaunchReader mLaunches;
    bool mIsEmpty = true;
};

/// Throws HostError, kUsage: the dump has `launches`, and none of that number.
[[noreturn]] void refuseNumber(const DumpSource& source, std::int64_t number,
                               std::int64_t launches);

}  // namespace host
