// The framework's log level (libtavo-log).
#pragma once

#include <cstdint>

/// The framework's current log level; its low byte, read as unsigned, is what
/// a debug line's gate is compared with. Callable from any thread at any time,
/// cheap enough to ask before every line, and never fails. The level may
/// change while the library runs.
std::uint32_t getTavoLogLevel();

/// Sets the level for the whole process. For hosts; the library never calls it.
void setTavoLogLevel(std::uint32_t level);
