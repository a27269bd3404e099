// Groups the blocks of a dump into launches.
#pragma once

#include <vector>

#include "host/dump/dump_parser.h"
#include "host/dump/launch.h"

namespace host {

/// The launches that the blocks are of, in their order.
///
/// A long launch leaves a block each 167 samples, and its series go on from
/// block to block. So a block belongs to the launch before it when that one has
/// more samples than any short launch, is not over, and its series start those
/// of the block. A marker after such a launch says that it was stopped.
std::vector<DumpedLaunch> groupLaunches(std::vector<DumpBlock> blocks);

}  // namespace host
