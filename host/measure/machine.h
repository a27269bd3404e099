// What is reported of the machine that launches are measured on.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "host/results/measurement.h"

namespace host {

/// Without the library. What cannot be found out is left empty.
Machine thisMachine();

/// The value behind the first line `name` of a file like /proc/cpuinfo or
/// /proc/meminfo; empty without one.
std::string valueOf(std::string_view text, std::string_view name);

}  // namespace host
