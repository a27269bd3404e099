// Takes the text of a dump apart into blocks.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/dump/launch.h"

namespace host {

/// One block of a dump, which is an evaluation, or one abort marker.
struct DumpBlock {
    int line = 0;  ///< its first one that is not blank, counted from 1
    bool isAbort = false;
    bool isCutOff = false;
    PerMetric<Series> series;              ///< up to the cut
    std::optional<Evaluation> evaluation;  ///< none in a marker, or when cut off
};

/// The blocks of `text`, in their order. A block that stops short, at the text's
/// end or where the next one starts, is cut off; whatever else is no dump throws
/// HostError, kUsage, which names `fileName` and the line.
std::vector<DumpBlock> parseDumpBlocks(std::string_view text, const std::string& fileName);

}  // namespace host
