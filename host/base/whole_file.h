// Reads and writes without stopping halfway.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace host {

/// Writes `text` whole; false, with errno, when that fails.
bool writeWhole(int fd, std::string_view text);

/// Appends the rest of the file to `text`, and stops once that is longer than
/// `limit` bytes; false, with errno, when reading fails.
bool readWhole(int fd, std::string& text, std::size_t limit = std::string::npos);

}  // namespace host
