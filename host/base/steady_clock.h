// Time that only goes forward, and waiting for it, in milliseconds.
#pragma once

#include <chrono>
#include <ctime>

namespace host {

inline double steadyMs() {
    using Milliseconds = std::chrono::duration<double, std::milli>;
    return Milliseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
}

/// Ends early at a signal.
inline void sleepMs(int ms) {
    const timespec duration{ms / 1000, (ms % 1000) * 1'000'000L};
    nanosleep(&duration, nullptr);
}

}  // namespace host
