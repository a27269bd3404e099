// Which launch type and subtype a package's launches have.
#include "host/watch/launch_rules.h"

#include <charconv>
#include <fnmatch.h>
#include <sstream>

#include "host/base/exit_code.h"
#include "host/base/printable.h"
#include "host/base/text_file.h"

namespace host {
namespace {

constexpr std::size_t kLongestQuote = 40;
constexpr const char* kPatternCharacters =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_.*?[]!-";

[[noreturn]] void refuse(const std::string& place, const std::string& why) {
    throw HostError(
        kUsage, place + ": " + why +
                    "; a rule is PATTERN TYPE [SUBTYPE], or PATTERN and short, extended or long");
}

std::string quoted(const std::string& word) {
    return '\'' + printable(word, kLongestQuote) + '\'';
}

std::int32_t parseNumber(const std::string& word, const std::string& place) {
    std::int32_t value = 0;
    const char* const end = word.data() + word.size();
    const auto [stop, error] = std::from_chars(word.data(), end, value);
    if (error != std::errc() || stop != end)
        refuse(place, quoted(word) + " is not a 32-bit number");
    return value;
}

std::vector<std::string> wordsOf(const std::string& line) {
    std::istringstream words(line.substr(0, line.find('#')));
    std::vector<std::string> result;
    for (std::string word; words >> word;)
        result.push_back(word);
    return result;
}

void checkPattern(const std::string& pattern, const std::string& place) {
    if (pattern.find_first_not_of(kPatternCharacters) != std::string::npos) {
        refuse(place, quoted(pattern) + " fits no package");
    }
}

LaunchKind parseKind(const std::vector<std::string>& rule, const std::string& place) {
    if (rule.size() < 2) refuse(place, "the window or launch type is missing");
    const std::optional<Window> window = windowNamed(rule[1]);
    if (rule.size() > (window ? 2 : 3)) refuse(place, "nothing may follow the window or subtype");
    if (window) return kindOf(*window);
    LaunchKind kind;
    kind.type = parseNumber(rule[1], place);
    if (rule.size() == 3) kind.subtype = parseNumber(rule[2], place);
    const std::string fault = launchKindFault(kind);
    if (!fault.empty()) refuse(place, fault);
    return kind;
}

}  // namespace

LaunchRules LaunchRules::read(const std::string& path) {
    return parse(readTextFile(path, kUsage), path);
}

LaunchRules LaunchRules::parse(const std::string& text, const std::string& path) {
    LaunchRules rules;
    std::istringstream lines(text);
    std::string line;
    for (int number = 1; std::getline(lines, line); ++number) {
        const std::vector<std::string> words = wordsOf(line);
        if (words.empty()) continue;
        const std::string place = path + ':' + std::to_string(number);
        checkPattern(words[0], place);
        rules.mRules.push_back({words[0], parseKind(words, place)});
    }
    return rules;
}

LaunchKind LaunchRules::kindOf(const std::string& package) const {
    for (const Rule& rule : mRules) {
        if (fnmatch(rule.pattern.c_str(), package.c_str(), 0) == 0) return rule.kind;
    }
    return {};
}

}  // namespace host
