// The descriptors 0, 1 and 2, as they must be before anything else is opened.
#pragma once

#include <cstddef>
#include <string>

namespace host {

/// Holds those that were closed at the start, or the next file to be opened, such
/// as the database, would take what is meant for a terminal. What is written to
/// them fails, as it would when closed. To be called first thing.
void holdStandardStreams();

/// Long output is gathered up to this size.
constexpr std::size_t kPrintedAtOnce = std::size_t{1} << 16U;

/// Writes to standard output. Throws HostError, which ends with `remedy`, when that
/// fails.
void print(const std::string& text, const char* remedy = "run it again with room for its output");

/// Prints one line on standard error, behind the program's name. The names in it may
/// hold anything.
void sayLine(const std::string& line);

}  // namespace host
