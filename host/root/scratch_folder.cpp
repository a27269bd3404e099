// A folder for files that are gone with the process.
#include "host/root/scratch_folder.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "host/base/exit_code.h"
#include "host/root/device_root.h"

namespace host {
namespace {

std::string folderForIt() {
    std::error_code ignored;
    const std::filesystem::path temporary = std::filesystem::temp_directory_path(ignored);
    return hasArrivedInDeviceRoot() || temporary.empty() ? kDumpFolder : temporary.string();
}

}  // namespace

ScratchFolder::ScratchFolder() : mPath(folderForIt() + "/orvo-scratch.XXXXXX") {
    if (mkdtemp(mPath.data()) != nullptr) return;
    throw HostError(kEnvironment, "cannot make the folder " + mPath + ": " + std::strerror(errno) +
                                      "; make room there, or set TMPDIR to another folder");
}

ScratchFolder::~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(mPath, ignored);
}

}  // namespace host
