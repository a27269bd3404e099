// What a misspelled word may stand for.
#include "host/base/suggestion.h"

#include <algorithm>

namespace host {
namespace {

// One slip, and one more for every few letters: "lern" is taken for "learn", "foo"
// for nothing.
constexpr std::size_t kLettersPerSlip = 4;

std::string_view withoutDashes(std::string_view word) {
    return word.substr(std::min(word.find_first_not_of('-'), word.size()));
}

std::size_t slipsBetween(std::string_view a, std::string_view b) {
    // slips[i][j]: between the first i letters of a and the first j of b.
    std::vector<std::vector<std::size_t>> slips(a.size() + 1,
                                                std::vector<std::size_t>(b.size() + 1));
    for (std::size_t i = 0; i <= a.size(); ++i) {
        for (std::size_t j = 0; j <= b.size(); ++j) {
            std::size_t& least = slips[i][j];
            least = std::max(i, j);
            if (i == 0 || j == 0) continue;
            least = std::min({slips[i - 1][j] + 1, slips[i][j - 1] + 1,
                              slips[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
            const bool isSwapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
            if (isSwapped) least = std::min(least, slips[i - 2][j - 2] + 1);
        }
    }
    return slips[a.size()][b.size()];
}

}  // namespace

std::string closestTo(std::string_view typed, const std::vector<std::string>& words) {
    const std::string_view bare = withoutDashes(typed);
    std::size_t least = 2 + bare.size() / kLettersPerSlip;
    std::string closest;
    for (const std::string& word : words) {
        const std::string_view bareWord = withoutDashes(word);
        // A word that is much longer or shorter need not be compared.
        if (bareWord.size() >= bare.size() + least || bare.size() >= bareWord.size() + least) {
            continue;
        }
        const std::size_t slips = slipsBetween(bare, bareWord);
        if (slips >= least) continue;
        least = slips;
        closest = word;
    }
    return closest;
}

}  // namespace host
