// Faults at chosen allocations (operator new is replaced).
#pragma once

#include <functional>

namespace allocation_faults {

/// Runs `operation` and calls `fault`, which usually throws, at its allocation
/// number `at` (from 0). Returns whether there was such an allocation.
bool happensAt(int at, const std::function<void()>& fault, const std::function<void()>& operation);

/// Allocations of this thread are not counted while one lives.
struct Pause {
    Pause();
    ~Pause();
    Pause(const Pause&) = delete;
    Pause& operator=(const Pause&) = delete;

private:
    int mRemaining;
};

}  // namespace allocation_faults
