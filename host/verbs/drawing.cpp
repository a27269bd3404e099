// Drawing on the terminal, for the verbs that do.
#include "host/verbs/drawing.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include "host/base/exit_code.h"
#include "host/dump/gnuplot.h"

namespace host {

std::optional<TerminalSize> terminalSize() {
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0) return std::nullopt;
    return TerminalSize{size.ws_col, size.ws_row};
}

TerminalSize roomOn(const std::optional<TerminalSize>& terminal, TerminalSize usual) {
    TerminalSize room = usual;
    if (terminal && terminal->columns > 0) room.columns = terminal->columns;
    if (terminal && terminal->rows > 0) room.rows = terminal->rows - 1;
    if (room.columns >= kFewestColumns) return room;
    throw HostError(kEnvironment,
                    "a drawing in characters needs " + std::to_string(kFewestColumns) +
                        " columns, and the terminal has " + std::to_string(room.columns) +
                        "; widen it, or write a picture with -o FILE.svg");
}

std::string draw(const PlotScript& script) {
    return script.above + runGnuplot(script.script) + script.below;
}

}  // namespace host
