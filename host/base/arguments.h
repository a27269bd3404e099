// The programs' arguments: our own ones apart from those of a command.
#pragma once

#include <string>
#include <vector>

namespace host {

/// COMMAND stands after the first "--" and is split off before parsing, so that
/// nothing in it is taken for an option or a verb of ours.
struct Arguments {
    /// `program` is argv, the program's name included.
    explicit Arguments(const std::vector<std::string>& program);

    std::vector<std::string> own;
    std::vector<std::string> command;
    bool hasCommand = false;  ///< whether there is a "--"
};

}  // namespace host
