// Counts the system calls of a piece of code.
#pragma once

#include <cstdint>
#include <functional>

/// The number of system calls that `measured` makes after `warmUp` has run.
/// Both run in a forked process, so what they change is not seen by the caller.
std::int64_t countSystemCalls(const std::function<void()>& warmUp,
                              const std::function<void()>& measured);
