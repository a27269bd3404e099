// Which mounts make a root that is the machine's own plus some paths.
#pragma once

#include <string>
#include <vector>

namespace host {

/// A path that the private root has beside the machine's own, or instead of
/// it, and the bubblewrap arguments that put it there.
struct Graft {
    std::string path;
    std::vector<std::string> arguments;
};

/// Bubblewrap arguments for a root that shows all of the machine's own and the grafts. A folder
/// that a graft goes into is made anew and its entries are bound one by one, for nothing may be
/// added to the machine's own.
std::vector<std::string> mirrorArguments(const std::vector<Graft>& grafts);

}  // namespace host
