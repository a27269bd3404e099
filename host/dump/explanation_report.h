// What explain prints, as text and as JSON.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>

#include "host/dump/dump_file.h"

namespace host {

/// What the launches of a dump came to; of the endpoints the latest are kept.
struct DumpSummary {
    void add(const DumpedLaunch& launch);

    std::int64_t launches = 0;
    std::int64_t settled = 0;
    std::deque<std::int64_t> numbers;  ///< of the latest that settled
    std::deque<double> endpointsMs;    ///< theirs
};

struct ExplanationReport {
    const DumpSource& source;
    const DumpSummary& summary;
    const DumpedLaunch& launch;                ///< the one to explain, of that dump
    std::optional<std::int32_t> storedMeanMs;  ///< the package's final endpoint
};

/// Why it ended where it did, in indented lines; times count from the first sample.
std::string explanationText(const DumpedLaunch& launch);

/// Each ends with a newline.
std::string renderText(const ExplanationReport& report);
std::string renderJson(const ExplanationReport& report);

}  // namespace host
