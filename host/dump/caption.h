// Lines of text around a drawing in characters.
#pragma once

#include <string>
#include <vector>

namespace host {

/// `text` in lines of no more than `columns` characters, broken between words where it
/// can be; those after the first are indented by `indent`. Each ends with a newline.
std::string wrapped(const std::string& text, std::size_t columns, std::size_t indent);

/// A picture's key, each of its lines once and wrapped.
std::string keyText(const std::vector<std::string>& lines, std::size_t columns);

/// UTF-8 in ASCII, for a locale that has nothing else.
std::string inAscii(const std::string& text);

/// Whether the locale that the environment sets shows UTF-8.
bool isUtf8Locale();

}  // namespace host
