// Which launch type and subtype a package's launches have.
#pragma once

#include <string>
#include <vector>

#include "host/library/launch_kind.h"

namespace host {

/// An ordered list of rules, of which the first that fits counts.
class LaunchRules {
public:
    /// No rules.
    LaunchRules() = default;

    /// Reads lines of "PATTERN TYPE [SUBTYPE]"; '#' starts a comment. Throws
    /// HostError, kUsage, with file and line.
    static LaunchRules read(const std::string& path);

    /// The same from the file's text; `path` is for messages.
    static LaunchRules parse(const std::string& text, const std::string& path);

    /// The kind of the package's launches, type 1 and subtype 0 without a rule.
    LaunchKind kindOf(const std::string& package) const;

private:
    struct Rule {
        std::string pattern;  // as of fnmatch(3)
        LaunchKind kind;
    };
    std::vector<Rule> mRules;
};

}  // namespace host
