// All that a file holds.
#pragma once

#include <fstream>
#include <iterator>
#include <string>

namespace host {

/// The file's content; empty when it does not open. For files whose faults need no
/// report, such as the kernel's.
inline std::string contentOf(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace host
