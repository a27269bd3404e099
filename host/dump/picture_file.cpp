// Writes a finished picture.
#include "host/dump/picture_file.h"

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

/// The file behind symbolic links. Anything but a regular file is refused, for
/// renaming over a device would replace it.
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

PictureFormat formatOf(const std::string& file) {
    const std::string extension = std::filesystem::path(file).extension();
    if (extension == ".svg") return PictureFormat::kSvg;
    if (extension == ".png") return PictureFormat::kPng;
    if (extension == ".txt") return PictureFormat::kText;
    throw HostError(kUsage,
                    "-o takes a file that ends in .svg, .png or .txt, not " + printable(file));
}

void writePicture(const std::string& file, const std::string& picture) {
    const std::string target = targetOf(file);
    std::string fresh = target + ".XXXXXX";
    const UniqueFd fd(mkostemp(fresh.data(), O_CLOEXEC));
    if (!fd.isOpen()) fail(file, std::strerror(errno));
    const bool isWritten = writeWhole(fd.get(), picture) &&
                           fchmod(fd.get(), kNewFileMode & ~personsUmask()) == 0 &&
                           std::rename(fresh.c_str(), target.c_str()) == 0;
    if (isWritten) return;
    const int error = errno;
    unlink(fresh.c_str());
    fail(file, std::strerror(error));
}

}  // namespace host
