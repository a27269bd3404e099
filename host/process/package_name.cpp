// Which names the host accepts for learning, and what it takes them for.
#include "host/process/package_name.h"

#include <algorithm>

namespace host {
namespace {

// The log cuts a line at 1024 bytes, and the host reads endpoints from the end
// of lines that hold the name.
constexpr std::size_t kLongestName = 255;

constexpr std::string_view kShells[] = {"sh",  "ash",  "bash", "busybox", "dash",
                                        "ksh", "mksh", "zsh",  "fish"};

// Of the "C" locale, whatever the process's is.
bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isControl(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

}  // namespace

std::string packageNameFault(const std::string& name) {
    if (name.empty()) return "is empty";
    if (name.size() > kLongestName) {
        return "is longer than " + std::to_string(kLongestName) + " bytes";
    }
    if (std::any_of(name.begin(), name.end(), isControl)) return "holds a control character";
    return "";
}

bool looksLikePackage(std::string_view name) {
    if (name.size() > kLongestName || name.find('.') == std::string_view::npos) return false;
    bool startsPart = true;
    for (const char c : name) {
        if (startsPart ? !isLetter(c) : !isLetter(c) && !isDigit(c) && c != '_' && c != '.') {
            return false;
        }
        startsPart = c == '.';
    }
    return !startsPart;
}

bool isShell(std::string_view program) {
    const std::string_view file = program.substr(program.rfind('/') + 1);
    return std::find(std::begin(kShells), std::end(kShells), file) != std::end(kShells);
}

}  // namespace host
