// Time that only goes forward, in milliseconds.
#pragma once

#include <chrono>

namespace host {

inline double steadyMs() {
    using Milliseconds = std::chrono::duration<double, std::milli>;
    return Milliseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
}

}  // namespace host
