// The open descriptors of the process being learned, counted and sent to the library.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

#include "host/library/orvo_library.h"

namespace host {

/// Counts through one launch.
class FdCounts {
public:
    /// `package` as the library is told it.
    FdCounts(OrvoLibrary& library, const std::string& package)
        : mLibrary(library), mPackage(package) {}

    /// Takes a count when one is due, as often as the library samples the other
    /// metrics. To be called only while it samples: what it is sent before, it drops.
    void take(double nowMs);

    /// When the next one is due.
    double nextMs() const { return mNextMs; }

private:
    OrvoLibrary& mLibrary;
    const std::string mPackage;
    double mNextMs = 0;
    pid_t mProcess = 0;  // 0 until the first count
    std::vector<std::int32_t> mBatch;
};

}  // namespace host
