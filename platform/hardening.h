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

#include "platform/thread_annotations.h"

#ifdef ORVO_HARDENED_LOCKING

using DataMutex = std::recursive_mutex;

/// Locks where only the hardened build does. A type of its own, for clang's
/// analysis would take std::lock_guard's for a second, forbidden acquisition.
struct HardeningLock {
    explicit HardeningLock(DataMutex& mutex) : mLock(mutex) {}
    std::lock_guard<DataMutex> mLock;
};

/// A field that the shut-down operation and the learning thread both touch.
template <typename T>
using HardenedAtomic = std::atomic<T>;

// libc++ does not annotate its recursive mutex.
#define ORVO_GUARDED_BY_DATA(mutex)

#else

using DataMutex = std::mutex;

struct HardeningLock {
    explicit HardeningLock(DataMutex&) {}
};

template <typename T>
using HardenedAtomic = T;

#define ORVO_GUARDED_BY_DATA(mutex) ORVO_GUARDED_BY(mutex)

#endif
