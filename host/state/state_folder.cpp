// The folder in which the host keeps everything that outlives a run.
#include "host/state/state_folder.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <unistd.h>

#include "host/base/exit_code.h"
#include "host/base/text_file.h"

namespace host {
namespace {

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

}  // namespace

std::string StateFolder::defaultPath() {
    const char* stateHome = std::getenv("XDG_STATE_HOME");
    if (stateHome != nullptr && stateHome[0] == '/') return std::string(stateHome) + "/orvo";
    const char* home = std::getenv("HOME");
    if (home != nullptr && home[0] == '/') return std::string(home) + "/.local/state/orvo";
    throw HostError(kEnvironment, "neither XDG_STATE_HOME nor HOME is set; give --state DIR");
}

StateFolder::StateFolder(const std::string& path) : mPath(std::filesystem::absolute(path)) {}

void StateFolder::create() const {
    std::error_code error;
    std::filesystem::create_directories(dumps(), error);
    if (error) refuse(mPath, error.message());
    if (access(mPath.c_str(), W_OK | X_OK) != 0) refuse(mPath, std::strerror(errno));
}

void StateFolder::setDumpEnabled(bool enabled) const {
    const std::string old = readKeptTextFile(properties());
    const std::string text = withProperty(old, kDumpProperty, enabled ? "true" : "");
    if (text == old) return;
    // Beside it and then over it, so that a reader never sees half a file.
    const std::string fresh = properties() + ".new";
    std::ofstream file(fresh, std::ios::binary | std::ios::trunc);
    file << text;
    file.close();
    std::error_code error;
    if (file) std::filesystem::rename(fresh, properties(), error);
    if (!file || error) refuse(mPath, "cannot write " + properties());
}

std::string withProperty(std::string_view text, std::string_view name, std::string_view value) {
    std::string result;
    while (!text.empty()) {
        const std::size_t length = std::min(text.find('\n'), text.size() - 1) + 1;
        const std::string_view line = text.substr(0, length);
        text.remove_prefix(length);
        if (!isLineOf(line, name)) result += line;
    }
    if (value.empty()) return result;
    if (!result.empty() && result.back() != '\n') result += '\n';
    return result.append(name).append("=").append(value).append("\n");
}

}  // namespace host
