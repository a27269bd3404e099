// All that a file holds.
#pragma once

#include <fstream>
#include <iterator>
#include <string>

namespace host {

/// What there is of the file; nothing when it does not open. For files of whose
/// faults there is nothing to tell, such as the kernel's.
inline std::string contentOf(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace host
