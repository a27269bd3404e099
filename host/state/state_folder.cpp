// The folder in which the host keeps everything that outlives a run.
#include "host/state/state_folder.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>

#include "host/base/exit_code.h"
#include "host/base/locked_file.h"
#include "host/base/text_file.h"
#include "host/base/whole_file.h"

namespace host {
namespace {

constexpr const char* kDumpProperty = "debug.vendor.zorv.enable.lm_csv_dump";
constexpr const char* kFormerWatchLock = "watch.pid";

[[noreturn]] void refuse(const std::filesystem::path& path, const std::string& why) {
    throw HostError(kEnvironment, "the state folder " + path.string() + " cannot be used: " + why +
                                      "; choose another with --state");
}

bool isLineOf(std::string_view line, std::string_view name) {
    const std::size_t start = line.find_first_not_of(" \t");
    if (start == std::string_view::npos || line.substr(start, name.size()) != name) return false;
    const std::size_t next = line.find_first_not_of(" \t", start + name.size());
    return next != std::string_view::npos && line[next] == '=';
}

void createFolder(const std::filesystem::path& path) {
    constexpr mode_t kForOwnerAlone = 0700;
    if (mkdir(path.c_str(), kForOwnerAlone) == 0 || std::filesystem::is_directory(path)) return;
    refuse(path, errno == EEXIST ? "it is not a folder" : std::strerror(errno));
}

}  // namespace

std::string StateFolder::defaultPath() {
    const char* stateHome = std::getenv("XDG_STATE_HOME");
    if (stateHome != nullptr && stateHome[0] == '/') return std::string(stateHome) + "/orvo";
    const char* home = std::getenv("HOME");
    if (home != nullptr && home[0] == '/') return std::string(home) + "/.local/state/orvo";
    throw HostError(kEnvironment, "neither XDG_STATE_HOME nor HOME is set; give --state DIR");
}

StateFolder::StateFolder(const std::string& path)
    : mPath(std::filesystem::absolute(path).lexically_normal()) {
    if (!mPath.has_filename()) mPath = mPath.parent_path();
}

void StateFolder::refuseIfMissing() const {
    if (std::filesystem::is_directory(mPath)) return;
    throw HostError(kUsage, "there is no state folder " + mPath.string() + "; check --state");
}

void StateFolder::refuseIfForeign() const {
    struct stat status {};
    if (stat(mPath.c_str(), &status) != 0) refuse(mPath, std::strerror(errno));
    if (status.st_uid != geteuid() && status.st_uid != 0) {
        refuse(mPath, "it belongs to user " + std::to_string(status.st_uid) +
                          ", who could lead its files elsewhere; own it (chown)");
    }
    if ((status.st_mode & S_IWOTH) != 0) {
        refuse(mPath, "everybody may write there and lead its files elsewhere; run chmod 700");
    }
}

void StateFolder::create() const {
    std::error_code error;
    std::filesystem::create_directories(mPath.parent_path(), error);
    if (error) refuse(mPath, error.message());
    createFolder(mPath);
    refuseIfForeign();
    createFolder(dumps());
    if (access(mPath.c_str(), W_OK | X_OK) != 0) refuse(mPath, std::strerror(errno));
    unlink((mPath / kFormerWatchLock).c_str());
}

// Beside it and then over it, so that a reader never sees half a file.
void StateFolder::removeDumpProperty() const {
    const std::string fresh = properties() + ".new";
    const UniqueFd file = openLocked(fresh, 0);
    const std::string old = readKeptTextFile(properties());
    const std::string text = withoutProperty(old, kDumpProperty);
    const bool isSame = text == old;
    const bool isDone = isSame || (ftruncate(file.get(), 0) == 0 && writeWhole(file.get(), text) &&
                                   rename(fresh.c_str(), properties().c_str()) == 0);
    const int error = errno;
    if (isSame || !isDone) unlink(fresh.c_str());
    if (!isDone) refuse(mPath, "cannot write " + properties() + ": " + std::strerror(error));
}

std::string withoutProperty(std::string_view text, std::string_view name) {
    std::string result;
    while (!text.empty()) {
        const std::size_t length = std::min(text.find('\n'), text.size() - 1) + 1;
        const std::string_view line = text.substr(0, length);
        text.remove_prefix(length);
        if (!isLineOf(line, name)) result += line;
    }
    return result;
}

}  // namespace host
