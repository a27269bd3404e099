// Text from outside, made fit to be shown.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace host {

/// `text` as one line of valid UTF-8: each byte of control characters, of those
/// that cannot be seen or turn the writing direction, and of what is no UTF-8
/// becomes '?'. Beyond `longest` bytes it is cut and ends in "...".
std::string printable(std::string_view text, std::size_t longest = std::string::npos);

}  // namespace host
