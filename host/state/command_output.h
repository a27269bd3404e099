// The file that takes what the launched commands of one learn print.
#pragma once

#include <string>

#include "host/base/unique_fd.h"
#include "host/state/state_folder.h"

namespace host {

/// Each learn has a file of its own, locked while the object lives: the first
/// that no other learn has. What an earlier one left there goes.
class CommandOutput {
public:
    /// Throws HostError.
    explicit CommandOutput(const StateFolder& state);

    /// For the commands to write to, appending.
    int fd() const { return mFile.get(); }
    const std::string& path() const { return mPath; }

    /// Drops all that is there once it is 4 MiB.
    void keepBounded() const;

private:
    UniqueFd mFile;
    std::string mPath;
};

}  // namespace host
