// What replay prints, as text and as JSON.
#pragma once

#include <cstdint>
#include <string>

#include "host/dump/dump_file.h"
#include "host/dump/replay.h"

namespace host {

/// Renders piece by piece, since a dump may hold any number of launches.
class ReplayReport {
public:
    ReplayReport(const DumpSource& source, bool isJson) : mSource(source), mIsJson(isJson) {}

    std::string start() const;
    std::string add(const DumpedLaunch& dumped, const LaunchReplay& launch);
    std::string end() const;

    std::int64_t replayedCount() const { return mReplayed; }
    std::int64_t equalCount() const { return mEqual; }  ///< of the replayed ones

private:
    const DumpSource& mSource;
    const bool mIsJson;
    bool mIsFirst = true;
    std::int64_t mReplayed = 0;
    std::int64_t mEqual = 0;
};

}  // namespace host
