// Recorded launches of real programs, as bench/record writes them.
#pragma once

#include <istream>
#include <string>
#include <vector>

#include "bench/series.h"

/// Reads "# settled at sample N" or "# never settles", "# window N" where more
/// samples follow than the library would see, other comments, and a line "kB
/// score descriptors" for each sample. Throws std::runtime_error, naming the
/// line, on anything else.
LabelledLaunch parseRecording(std::istream& text);

/// All recordings of a folder, by file name. Throws like parseRecording.
std::vector<LabelledLaunch> readRecordings(const std::string& folder);
