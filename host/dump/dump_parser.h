// Takes the text of a dump apart into blocks.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "host/base/line_reader.h"
#include "host/dump/launch.h"

namespace host {

/// One block of a dump, which is an evaluation, or one abort marker.
struct DumpBlock {
    std::int64_t line = 0;    ///< its first one that is not blank, counted from 1
    std::int64_t offset = 0;  ///< of its first byte, the line feeds before it included
    bool isAbort = false;
    bool isCutOff = false;
    PerMetric<Series> series;              ///< up to the cut
    std::optional<Evaluation> evaluation;  ///< none in a marker, or when cut off
};

/// Reads block by block and holds one at a time.
class BlockReader {
public:
    /// `fileName` is for messages.
    BlockReader(ReadBytes read, const std::string& fileName);
    ~BlockReader();

    /// The next block; none at the text's end. A block that stops short, there or
    /// where the next one starts, is cut off; anything else that is not a dump throws
    /// HostError, kUsage, which names the file and the line.
    std::optional<DumpBlock> next();

private:
    class Parser;
    const std::unique_ptr<Parser> mParser;
};

}  // namespace host
