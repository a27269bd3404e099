// Properties from the file that TAVO_PROPERTIES names, in lines of `name=value`.
#include "framework/tavoconfig/property_file.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <istream>

namespace {

constexpr char kBlanks[] = " \t";

std::string withoutLeadingBlanks(const std::string& text) {
    return text.substr(std::min(text.find_first_not_of(kBlanks), text.size()));
}

std::string nameOf(const std::string& text) {
    return withoutLeadingBlanks(text.substr(0, text.find_last_not_of(kBlanks) + 1));
}

// Blanks at its end are the value's, as on the device, where "true " is not
// "true"; a carriage return is the line's.
std::string valueOf(std::string text) {
    if (!text.empty() && text.back() == '\r') text.pop_back();
    return withoutLeadingBlanks(text);
}

// The last line of the name counts. Comments are lines whose "name" starts with
// '#'; they, blank lines and lines without '=' are passed over.
std::optional<std::string> findProperty(std::istream& lines, const std::string& name) {
    if (name.empty() || name[0] == '#') return std::nullopt;
    std::optional<std::string> value;
    for (std::string line; std::getline(lines, line);) {
        const std::size_t equals = line.find('=');
        if (equals == std::string::npos || nameOf(line.substr(0, equals)) != name) continue;
        value = valueOf(line.substr(equals + 1));
    }
    return value;
}

}  // namespace

std::optional<std::string> readProperty(const std::string& name) {
    const char* path = secure_getenv("TAVO_PROPERTIES");
    if (!path) return std::nullopt;
    std::ifstream file(path);
    return findProperty(file, name);
}
