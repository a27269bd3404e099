// Fails chosen allocations of the calling thread (operator new is replaced).
#pragma once

#include <functional>

/// While it lives, allocation number `at` (from 0) of this thread calls `fault`,
/// which usually throws.
class AllocationFaults {
public:
    AllocationFaults(int at, std::function<void()> fault);
    ~AllocationFaults();
    AllocationFaults(const AllocationFaults&) = delete;
    AllocationFaults& operator=(const AllocationFaults&) = delete;

    bool happened() const;

    /// Allocations of this thread are not counted while one lives.
    class Pause {
    public:
        Pause();
        ~Pause();
        Pause(const Pause&) = delete;
        Pause& operator=(const Pause&) = delete;
    };
};
