// Properties from the file that TAVO_PROPERTIES names, in lines of `name=value`.
#include <cstdlib>
#include <fstream>
#include <istream>

#include "framework/tavoconfig/property_source.h"

namespace {

std::string trimmed(const std::string& text) {
    constexpr char kBlanks[] = " \t\r";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string::npos) return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// The last line of the name counts. Comments are lines whose "name" starts with
// '#'; they, blank lines and lines without '=' are passed over.
std::optional<std::string> findProperty(std::istream& lines, const std::string& name) {
    if (name.empty() || name[0] == '#') return std::nullopt;
    std::optional<std::string> value;
    for (std::string line; std::getline(lines, line);) {
        const std::size_t equals = line.find('=');
        if (equals == std::string::npos || trimmed(line.substr(0, equals)) != name) continue;
        value = trimmed(line.substr(equals + 1));
    }
    return value;
}

}  // namespace

std::optional<std::string> readProperty(const std::string& name) {
    const char* path = std::getenv("TAVO_PROPERTIES");
    if (!path) return std::nullopt;
    std::ifstream file(path);
    return findProperty(file, name);
}
