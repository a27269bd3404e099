// The programs' arguments: our own ones apart from those of a command.
#include "host/base/arguments.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "host/base/exit_code.h"

namespace host {

Arguments::Arguments(const std::vector<std::string>& program) {
    const auto first = program.begin() + (program.empty() ? 0 : 1);
    const auto mark = std::find(first, program.end(), "--");
    own.assign(first, mark);
    hasCommand = mark != program.end();
    if (hasCommand) command.assign(mark + 1, program.end());
}

std::optional<int> parse(CLI::App& app, const Arguments& arguments) {
    std::vector<std::string> reversed(arguments.own.rbegin(), arguments.own.rend());
    try {
        app.parse(std::move(reversed));
    } catch (const CLI::Success& answer) {
        return app.exit(answer);
    } catch (const CLI::ParseError& error) {
        throw HostError(kUsage, std::string(error.what()) + "; see " + app.get_name() + " --help");
    }
    return std::nullopt;
}

}  // namespace host
