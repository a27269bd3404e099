// The kinds of launch that the library distinguishes.
#include "host/library/launch_kind.h"

#include "learner/launch_type.h"

namespace host {

// A short launch is sampled for one second, with subtype 1 or 2 for three. A long
// one ends after more stable evaluations with subtype 1 or 2 than with 0, and
// after fewer with -1.
std::string launchKindFault(const LaunchKind& kind) {
    const std::string subtype = "subtype " + std::to_string(kind.subtype) + " is not one of ";
    if (kind.type == kLongLaunchType) {
        return kind.subtype < -1 || kind.subtype > 2 ? subtype + "-1 to 2, those of type 2" : "";
    }
    if (kind.type != 1) {
        return "type " + std::to_string(kind.type) +
               " is neither 1, a launch, nor 2, the long launch";
    }
    return kind.subtype < 0 || kind.subtype > 2 ? subtype + "0 to 2, those of type 1" : "";
}

// Of the long launch's subtypes 1 decides five seconds later than 0, and fewer
// launches at a rest (docs/accuracy.md).
LaunchKind kindOf(Window window) {
    switch (window) {
        case Window::kShort:
            return {1, 0};
        case Window::kExtended:
            return {1, 1};
        case Window::kLong:
            break;
    }
    return {kLongLaunchType, 1};
}

Window windowOf(const LaunchKind& kind) {
    if (kind.type == kLongLaunchType) return Window::kLong;
    return kind.subtype == 0 ? Window::kShort : Window::kExtended;
}

}  // namespace host
