// A folder for files that are gone with the process.
#pragma once

#include <string>

namespace host {

/// Removed at the end of its life, with all in it. In a private root it lies where
/// nothing outlives the root, so that not even a kill leaves it behind.
class ScratchFolder {
public:
    /// Throws HostError.
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    const std::string& path() const { return mPath; }

private:
    std::string mPath;
};

}  // namespace host
