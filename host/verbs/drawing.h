// Drawing on the terminal, for the verbs that do.
#pragma once

#include <optional>
#include <string>

#include "host/dump/plot_script.h"

namespace host {

struct TerminalSize {
    int columns;  ///< 0 where it has none
    int rows;
};

/// None when standard output is not a terminal.
std::optional<TerminalSize> terminalSize();

/// What a drawing may take of the terminal, which leaves a row for the prompt;
/// `usual` where there is none or it tells no size. Throws HostError for a narrow one.
TerminalSize roomOn(const std::optional<TerminalSize>& terminal, TerminalSize usual);

/// The picture, of a text with what stands above and below it.
std::string draw(const PlotScript& script);

}  // namespace host
