// Writes the dump of a launch that the host followed.
#pragma once

#include <cstdint>
#include <string>

#include "host/library/series_recorder.h"

namespace host {

/// Appends to the package's dump, byte for byte, what the library would have
/// written of the launch: one block an evaluation, and a marker for one that was
/// stopped. A launch that was never sampled leaves nothing.
///
/// The library runs its analysis for this once more, on this thread. It writes to
/// its own folder on a device, so this works in the private root alone. Throws
/// HostError when the file is none or did not grow.
void writeDump(const std::string& package, const RecordedLaunch& launch, std::int32_t type,
               std::int32_t subtype);

}  // namespace host
