// The programs' arguments: our own ones apart from those of a command.
#include "host/base/arguments.h"

#include <algorithm>

namespace host {

Arguments::Arguments(const std::vector<std::string>& program) {
    const auto first = program.begin() + (program.empty() ? 0 : 1);
    const auto mark = std::find(first, program.end(), "--");
    own.assign(first, mark);
    hasCommand = mark != program.end();
    if (hasCommand) command.assign(mark + 1, program.end());
}

}  // namespace host
