// The kinds of launch that the library distinguishes.
#pragma once

#include <cstdint>
#include <string>

#include "host/verdict/window_choice.h"

namespace host {

/// What a launch message says beside the package's name.
struct LaunchKind {
    std::int32_t type = 1;
    std::int32_t subtype = 0;
};

/// The kind that has the window, of several the one that decides best.
LaunchKind kindOf(Window window);

/// The window of a kind without a fault.
Window windowOf(const LaunchKind& kind);

/// What is wrong with the kind, in words that name the right ones; empty when
/// nothing is. The library takes any other number for one of these in silence.
std::string launchKindFault(const LaunchKind& kind);

}  // namespace host
