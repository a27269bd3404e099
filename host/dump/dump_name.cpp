// The name of a package's dump.
#include "host/dump/dump_name.h"

#include <algorithm>
#include <cstring>

#include "host/root/device_root.h"

namespace host {
namespace {

constexpr std::size_t kLongestPathOnDevice = 127;  // the library cuts the path there

}  // namespace

std::string dumpNameOf(const std::string& package) {
    const std::size_t longest = kLongestPathOnDevice - std::strlen(kDumpFolder) - 1;
    std::string name = package + std::string(kDumpSuffix);
    name.resize(std::min(name.size(), longest));
    return name;
}

}  // namespace host
