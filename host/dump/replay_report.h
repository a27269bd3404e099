// What replay prints, as text and as JSON.
#pragma once

#include <string>
#include <vector>

#include "host/dump/dump_file.h"
#include "host/dump/replay.h"

namespace host {

struct ReplayReport {
    const Dump& dump;
    std::vector<LaunchReplay> launches;  ///< of the dump's, in their order

    std::size_t replayedCount() const;
    std::size_t equalCount() const;  ///< of the replayed ones
};

// Each ends with a newline.
std::string renderText(const ReplayReport& report);
std::string renderJson(const ReplayReport& report);

}  // namespace host
