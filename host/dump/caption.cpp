// Lines of text around a drawing in characters.
#include "host/dump/caption.h"

#include <algorithm>
#include <clocale>
#include <langinfo.h>
#include <string_view>

namespace host {
namespace {

constexpr std::string_view kPlusMinus = "±";

bool startsCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xc0U) != 0x80U;
}

std::size_t charactersOf(std::string_view text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), startsCharacter));
}

// Bytes of the first `characters` of it.
std::size_t lengthOf(std::string_view text, std::size_t characters) {
    std::size_t at = 0;
    for (; at < text.size(); ++at) {
        if (startsCharacter(text[at]) && characters-- == 0) break;
    }
    return at;
}

// Bytes of `text` that a line takes; a word that is longer than a line is cut.
std::size_t lineBytes(std::string_view text, std::size_t columns) {
    if (charactersOf(text) <= columns) return text.size();
    const std::size_t most = lengthOf(text, columns);
    const std::size_t blank = text.rfind(' ', most);
    return blank == std::string_view::npos || blank == 0 ? most : blank;
}

}  // namespace

std::string wrapped(const std::string& text, std::size_t columns, std::size_t indent) {
    std::string lines;
    std::string_view rest = text;
    while (!rest.empty()) {
        const std::size_t margin = lines.empty() ? 0 : indent;
        const std::size_t bytes = lineBytes(rest, columns - margin);
        lines += std::string(margin, ' ') + std::string(rest.substr(0, bytes)) + '\n';
        rest.remove_prefix(bytes);
        rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
    }
    return lines;
}

std::string keyText(const std::vector<std::string>& lines, std::size_t columns) {
    constexpr std::size_t kBehindMark = 3;
    std::string text;
    for (auto line = lines.begin(); line != lines.end(); ++line) {
        if (std::find(lines.begin(), line, *line) == line)
            text += wrapped(*line, columns, kBehindMark);
    }
    return text;
}

std::string inAscii(const std::string& text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text.compare(i, kPlusMinus.size(), kPlusMinus) == 0) {
            result += "+-";
        } else if (startsCharacter(text[i])) {
            result += static_cast<unsigned char>(text[i]) < 0x80 ? text[i] : '?';
        }
    }
    return result;
}

bool isUtf8Locale() {
    const locale_t locale = newlocale(LC_CTYPE_MASK, "", nullptr);
    if (locale == nullptr) return false;
    const std::string characters = nl_langinfo_l(CODESET, locale);
    freelocale(locale);
    return characters == "UTF-8";
}

}  // namespace host
