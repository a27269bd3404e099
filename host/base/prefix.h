// Whether a text begins with another.
#pragma once

#include <string_view>

namespace host {

/// Inline: most log lines are asked for a dozen beginnings between two samples.
inline bool startsWith(std::string_view text, std::string_view prefix) {
    return text.substr(0, prefix.size()) == prefix;
}

}  // namespace host
