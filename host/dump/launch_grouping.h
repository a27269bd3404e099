// Groups the blocks of a dump into launches.
#pragma once

#include <optional>
#include <string>

#include "host/dump/dump_parser.h"
#include "host/dump/launch.h"

namespace host {

/// Reads launch by launch and holds one at a time.
///
/// A long launch leaves a block each 167 samples, and its series go on from
/// block to block. So a block belongs to the launch before it when that one has
/// more samples than any short launch, is not over, and its series start those
/// of the block. A marker after such a launch says that it was stopped.
class LaunchReader {
public:
    /// `fileName` is for messages.
    LaunchReader(ReadBytes read, const std::string& fileName);

    /// The next launch; none at the text's end. Throws as BlockReader::next().
    std::optional<DumpedLaunch> next();

private:
    BlockReader mBlocks;
    std::optional<DumpBlock> mAhead;  // the first block of the next launch
    std::int64_t mLaunches = 0;
};

}  // namespace host
