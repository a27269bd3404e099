// Recorded launches of real programs, as bench/record writes them.
#pragma once

#include <string>
#include <vector>

#include "bench/series.h"

/// All recordings of a folder, by file name: "# settled at sample N" or "# never
/// settles", "# window N" where more samples follow than the library would see, other
/// comments, and a line "kB score descriptors" for each sample. Throws
/// std::runtime_error, naming file and line, on anything else.
std::vector<LabelledLaunch> readRecordings(const std::string& folder);
