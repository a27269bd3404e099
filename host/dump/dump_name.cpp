// The name of a package's dump.
#include "host/dump/dump_name.h"

#include <algorithm>
#include <cstring>

#include "host/root/device_root.h"

namespace host {
namespace {

constexpr std::size_t kLongestPathOnDevice = 127;  // the library cuts the path there
constexpr std::string_view kDumpEnd = ".csv";

}  // namespace

std::string dumpNameOf(const std::string& package) {
    const std::size_t longest = kLongestPathOnDevice - std::strlen(kDumpFolder) - 1;
    std::string name = package + std::string(kDumpSuffix);
    name.resize(std::min(name.size(), longest));
    return name;
}

std::string dumpNameOf(const std::string& package, std::int32_t generation) {
    std::string name = dumpNameOf(package);
    const std::string number = '.' + std::to_string(generation);
    const std::size_t end = name.rfind(kDumpEnd);
    const bool isCut = end == std::string::npos || end + kDumpEnd.size() != name.size();
    return name.insert(isCut ? name.size() : end, number);
}

}  // namespace host
