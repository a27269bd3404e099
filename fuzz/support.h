// What the fuzz targets share.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "host/base/line_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

/// Ends the run with a finding; unlike assert also where NDEBUG is set.
inline void require(bool condition) {
    if (!condition) std::abort();
}

using Stream = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

/// A stream on a file of these bytes that has a descriptor, as those in /proc.
Stream streamOf(const std::uint8_t* data, std::size_t size);

/// Gives the text, which must outlive it, in pieces of the size that its first byte gives.
host::ReadBytes readsOf(std::string_view text);

}  // namespace fuzz
