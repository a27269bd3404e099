// A measured launch as its dump would record it.
#pragma once

#include <cstdint>

#include "host/dump/launch.h"
#include "host/results/measurement.h"

namespace host {

/// The launch with what its evaluations came to, for which the library's analysis runs
/// once more on this thread, and with a note. One that was never evaluated nor stopped
/// has no samples in a dump, and none here.
DumpedLaunch dumpedLaunchOf(const MeasuredLaunch& launch, const LaunchKind& kind,
                            std::int64_t number);

}  // namespace host
