// What the hardened build (ORVO_HARDENED_LOCKING) adds to the locking.
//
// The default build locks exactly as the framework was built against: appends
// by the learning thread, the final evaluation and the emptying of the series
// take no lock, and a message of descriptor counts locks mDataMutex twice and
// so blocks its caller. The hardened build runs the same code without these
// hazards.
#pragma once

#include <atomic>
#include <mutex>

#ifdef ORVO_HARDENED_LOCKING

using DataMutex = std::recursive_mutex;

/// Locks where only the hardened build does.
using HardeningLock = std::lock_guard<DataMutex>;

/// A field that the shut-down operation and the learning thread both touch.
template <typename T>
using HardenedAtomic = std::atomic<T>;

#else

using DataMutex = std::mutex;

struct HardeningLock {
    explicit HardeningLock(DataMutex&) {}
};

template <typename T>
using HardenedAtomic = T;

#endif
