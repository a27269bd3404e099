// A file of lines that several processes append to, and that stays bounded.
#pragma once

#include <string>

#include "host/base/unique_fd.h"

namespace host {

/// At 4 MiB the file is renamed to FILE.1, in place of the one before. A process
/// that had it open then goes on with the new one.
class RotatingFile {
public:
    static constexpr off_t kLargestSize = 4 << 20;  ///< some 15,000 launches of history

    explicit RotatingFile(std::string path) : mPath(std::move(path)) {}

    /// Opens it, anew when another process has renamed it, which the other calls
    /// do too. Throws HostError.
    void open();

    /// Appends by one call, which other processes' lines cannot come between.
    /// Throws HostError.
    void append(const std::string& lines);

    /// The same for lines that must last: closes the line that a killed process
    /// left, leaves no part of a line itself, and returns once the disk has
    /// them. Waits for other processes that do the same, but not for ever.
    void appendForGood(const std::string& lines);

private:
    void rotate();
    [[noreturn]] void fail(int error) const;

    const std::string mPath;
    UniqueFd mFile;
};

}  // namespace host
