// Reads small text files.
#include "host/base/text_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "host/base/regular_file.h"
#include "host/base/whole_file.h"

namespace host {
namespace {

constexpr std::size_t kLargestSize = 1 << 20;

bool isForeign(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return (byte < 0x20 && c != '\t' && c != '\r' && c != '\n') || byte == 0x7f;
}

std::string readOpened(const UniqueFd& file, const std::string& path, ExitCode code) {
    std::string text;
    if (!readWhole(file.get(), text, kLargestSize)) {
        throw HostError(code, "cannot read " + path + ": " + std::strerror(errno));
    }
    const auto foreign = std::find_if(text.begin(), text.end(), isForeign);
    if (foreign != text.end()) {
        const auto line = 1 + std::count(text.begin(), foreign, '\n');
        throw HostError(code, path + ':' + std::to_string(line) +
                                  ": holds a control character; it must be a text file");
    }
    if (text.size() > kLargestSize) {
        throw HostError(code, path + " is larger than 1 MiB; is it the right file?");
    }
    return text;
}

}  // namespace

std::string readTextFile(const std::string& path, ExitCode code) {
    const UniqueFd file = openGivenFile(path, code);
    if (file.isOpen()) return readOpened(file, path, code);
    throw HostError(code, "cannot read " + path + ": " + std::strerror(errno));
}

std::string readKeptTextFile(const std::string& path) {
    const UniqueFd file = openKeptFile(path, O_RDONLY);
    return file.isOpen() ? readOpened(file, path, kEnvironment) : std::string();
}

}  // namespace host
