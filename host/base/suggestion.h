// What a misspelled word may stand for.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace host {

/// The one of `words` that `typed` differs from by the fewest slips (a letter
/// missing, added, replaced, or swapped with its neighbour); empty when even
/// that is too far off. Dashes in front do not count.
std::string closestTo(std::string_view typed, const std::vector<std::string>& words);

}  // namespace host
