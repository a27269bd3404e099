// The programs' arguments: our own ones apart from those of a command.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

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

/// Parses `own` into what `app` describes. Returns an exit code when the answer
/// (help, version) has been printed. Throws HostError, kUsage.
std::optional<int> parse(CLI::App& app, const Arguments& arguments);

}  // namespace host
