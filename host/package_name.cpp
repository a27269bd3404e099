// Which package names the host accepts for learning.
#include "host/package_name.h"

#include <algorithm>

namespace host {
namespace {

// The log cuts a line at 1024 bytes, and the host reads endpoints from the end
// of lines that hold the name.
constexpr std::size_t kLongestName = 255;

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

}  // namespace host
