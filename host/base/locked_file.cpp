// Opens a file that one process at a time writes and may put another in place of.
#include "host/base/locked_file.h"

#include <sys/stat.h>

#include "host/base/exit_code.h"
#include "host/base/record_lock.h"
#include "host/base/regular_file.h"

namespace host {

bool isAt(int fd, const std::string& path) {
    struct stat held {};
    struct stat there {};
    return fstat(fd, &held) == 0 && lstat(path.c_str(), &there) == 0 &&
           held.st_dev == there.st_dev && held.st_ino == there.st_ino;
}

// It may be renamed between our opening and our locking it.
UniqueFd openLocked(const std::string& path, int flags) {
    while (true) {
        UniqueFd file = openKeptFile(path, flags | O_RDWR | O_CREAT);
        if (!takeLock(file.get(), path, {}, kLockLimitMs)) {
            throw HostError(kEnvironment, describeHolder(lockHolder(file.get(), {})) +
                                              " has kept " + path + " locked for " +
                                              std::to_string(kLockLimitMs / 1000) +
                                              " seconds; end it");
        }
        if (isAt(file.get(), path)) return file;
    }
}

}  // namespace host
