// Writes a file that a person names.
#include "host/base/replaced_file.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sys/stat.h>

#include "host/base/exit_code.h"
#include "host/base/new_files.h"
#include "host/base/printable.h"
#include "host/base/unique_fd.h"
#include "host/base/whole_file.h"

namespace host {
namespace {

constexpr mode_t kNewFileMode = 0666;

[[noreturn]] void fail(const std::string& file, const std::string& why) {
    throw HostError(kEnvironment, "cannot write " + printable(file) + ": " + why);
}

// The file behind symbolic links.
std::string targetOf(const std::string& file) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(file, error);
    if (!std::filesystem::exists(status)) return file;
    if (!std::filesystem::is_regular_file(status))
        fail(file, "something that is not a file has that name; choose another");
    const std::filesystem::path target = std::filesystem::canonical(file, error);
    if (error) fail(file, error.message());
    return target;
}

}  // namespace

void replaceFile(const std::string& file, const std::string& text) {
    const std::string target = targetOf(file);
    std::string fresh = target + ".XXXXXX";
    const UniqueFd fd(mkostemp(fresh.data(), O_CLOEXEC));
    if (!fd.isOpen()) fail(file, std::strerror(errno));
    const bool isWritten = writeWhole(fd.get(), text) &&
                           fchmod(fd.get(), kNewFileMode & ~personsUmask()) == 0 &&
                           std::rename(fresh.c_str(), target.c_str()) == 0;
    if (isWritten) return;
    const int error = errno;
    unlink(fresh.c_str());
    fail(file, std::strerror(error));
}

void checkReplaceable(const std::string& file) {
    const std::filesystem::path target = targetOf(file);
    if (!target.has_filename()) fail(file, "that is not the name of a file");
    const std::string folder = target.has_parent_path() ? target.parent_path().string() : ".";
    if (access(folder.c_str(), W_OK | X_OK) != 0) fail(file, std::strerror(errno));
    if (!std::filesystem::is_directory(folder)) fail(file, std::strerror(ENOTDIR));
}

}  // namespace host
