// Opens files that somebody else may have put something else in the place of.
#include "host/base/regular_file.h"

#include <cstring>
#include <sys/stat.h>

namespace host {
namespace {

constexpr mode_t kForOwnerAlone = 0600;

[[noreturn]] void fail(const std::string& path, ExitCode code, const std::string& why) {
    throw HostError(code, "cannot open " + path + ": " + why);
}

std::string faultOf(mode_t mode) {
    if (S_ISREG(mode)) return "";
    if (S_ISLNK(mode)) return "a symbolic link is in its place; remove that";
    return S_ISDIR(mode) ? "it is a folder" : "it is a pipe, a socket or a device, and not a file";
}

// What open() says of a link or a socket does not help a person.
std::string openFault(const std::string& path, int error) {
    struct stat there {};
    const bool isOdd = (error == ELOOP || error == ENXIO) && lstat(path.c_str(), &there) == 0 &&
                       !S_ISREG(there.st_mode);
    return isOdd ? faultOf(there.st_mode) : std::strerror(error);
}

UniqueFd openRegular(const std::string& path, int flags, ExitCode code) {
    // Non-blocking, or a pipe would make us wait for its other end.
    UniqueFd file(open(path.c_str(), flags | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, kForOwnerAlone));
    const int error = errno;
    const bool isMissing = !file.isOpen() && error == ENOENT && (flags & O_CREAT) == 0;
    if (isMissing) return file;
    if (!file.isOpen()) fail(path, code, openFault(path, error));
    struct stat opened {};
    if (fstat(file.get(), &opened) != 0) fail(path, code, std::strerror(errno));
    const std::string fault = faultOf(opened.st_mode);
    if (!fault.empty()) fail(path, code, fault);
    return file;
}

}  // namespace

UniqueFd openGivenFile(const std::string& path, ExitCode code) {
    return openRegular(path, O_RDONLY, code);
}

UniqueFd openKeptFile(const std::string& path, int flags) {
    return openRegular(path, flags | O_NOFOLLOW, kEnvironment);
}

void refuseUnlessRegular(const std::string& path) {
    struct stat there {};
    if (lstat(path.c_str(), &there) != 0) return;
    const std::string fault = faultOf(there.st_mode);
    if (!fault.empty()) fail(path, kEnvironment, fault);
}

}  // namespace host
