// Lists of texts as one text, for comparisons that read well.
#pragma once

#include <string>
#include <vector>

/// "a; b; c"
inline std::string joined(const std::vector<std::string>& texts) {
    std::string result;
    for (const std::string& text : texts)
        result += (result.empty() ? "" : "; ") + text;
    return result;
}
