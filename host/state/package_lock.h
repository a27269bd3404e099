// One writer per package at a time.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <sys/types.h>

#include "host/base/exit_code.h"
#include "host/base/unique_fd.h"

namespace host {

/// Locks on packages by their names, in one empty file: a package's is a byte at
/// an offset made from the name, far beyond the file's end. They are held for the
/// life of the object, or of the process, however that ends. One object per
/// process and file (host/base/record_lock.h says why).
class PackageLocks {
public:
    /// Throws HostError when the file does not open.
    explicit PackageLocks(const std::string& path);

    /// Takes the package's lock, once more when this process has it already.
    /// False when another process has it.
    bool take(const std::string& package);

    /// Gives back what one take() took.
    void drop(const std::string& package);

    /// The same as take(). Throws HostError, naming the other process.
    void takeOrRefuse(const std::string& package);

    /// "process 12 (orvo-host)", which has the package's lock.
    std::string describeHolder(const std::string& package) const;

private:
    const std::string mPath;
    UniqueFd mFile;
    std::map<std::string, int> mTaken;  // how often
};

}  // namespace host
