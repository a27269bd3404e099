// The kinds of launch that the library tells apart.
#pragma once

#include <cstdint>
#include <string>

namespace host {

/// What a launch message says beside the package's name.
struct LaunchKind {
    std::int32_t type = 1;
    std::int32_t subtype = 0;
};

/// What is wrong with the kind, in words that name the right ones; empty when
/// nothing is. The library takes any other number for one of these in silence.
std::string launchKindFault(const LaunchKind& kind);

}  // namespace host
