// A command in one string, taken apart.
#pragma once

#include <string>
#include <vector>

namespace host {

/// Its words, as a shell parts them: by blanks, unless they stand in 'quotes' or
/// "quotes" or behind a backslash. Nothing is expanded, and what only a shell can do,
/// such as a pipe, is refused: a shell that stays between would be what is launched.
/// Throws HostError, kUsage, which begins with `name`.
std::vector<std::string> commandWords(const std::string& text, const std::string& name);

}  // namespace host
