// One line of the library's log, taken apart.
#pragma once

#include <cstdint>
#include <string_view>

#include "host/base/prefix.h"

namespace host {

/// Views into the text it was parsed from.
struct LogLine {
    int priority = 0;  ///< android/log.h's
    std::string_view tag;
    std::string_view function;  ///< empty for a line that names none
    std::string_view message;   ///< without the newline at its end
};

/// Takes "TAG: function() LINE: message" apart; text of another form is all message.
LogLine parseLogLine(int priority, std::string_view tag, std::string_view text);

/// Whether the host keeps the line at this log level: as the library would write
/// it, but for lines that come with every data point, which are details to the
/// host. It lets the library write more than was asked for, because it follows
/// launches by the lines.
bool isWantedAt(std::uint32_t level, const LogLine& line);

/// The integer after the last `mark` in `text`, 0 without one: what comes before
/// it may hold a package's name, which may hold anything.
std::int32_t integerAfterLast(std::string_view text, std::string_view mark);

}  // namespace host
