// The reader of dumps, from the text to the launches.
#include "fuzz/support.h"
#include "host/base/exit_code.h"
#include "host/dump/launch_grouping.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        std::vector<host::DumpBlock> blocks =
            host::parseDumpBlocks({reinterpret_cast<const char*>(data), size}, "dump");
        const std::size_t blockCount = blocks.size();
        std::size_t evaluations = 0;
        for (const host::DumpedLaunch& launch : host::groupLaunches(std::move(blocks)))
            evaluations += launch.evaluations.size();
        fuzz::require(evaluations <= blockCount);
    } catch (const host::HostError&) {
        // No dump, and said so.
    }
    return 0;
}
