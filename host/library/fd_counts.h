// The open descriptors of the process being learned, counted and sent to the library.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

#include "host/library/orvo_library.h"

namespace host {

/// Whether the library takes counts. The default build's locking blocks the
/// sender of any for good.
#ifdef ORVO_HARDENED_LOCKING
constexpr bool kTakesFdCounts = true;
#else
constexpr bool kTakesFdCounts = false;
#endif

/// The descriptors that the process has open; nothing when it is gone. Throws
/// HostError when the host itself cannot read /proc.
std::optional<std::int32_t> countDescriptors(pid_t process);

/// Counts through one launch.
class FdCounts {
public:
    FdCounts(OrvoLibrary& library, const std::string& package)
        : mLibrary(library), mPackage(package) {}

    /// Takes one count. To be called once per sampling period, only while the
    /// library samples: what it is sent before, it drops.
    void take();

private:
    OrvoLibrary& mLibrary;
    const std::string mPackage;
    pid_t mProcess = 0;  // 0 until the first count
    std::vector<std::int32_t> mBatch;
};

}  // namespace host
