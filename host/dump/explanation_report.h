// What explain prints, as text and as JSON.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/dump/dump_file.h"

namespace host {

struct ExplanationReport {
    const Dump& dump;
    const DumpedLaunch& launch;                ///< the one to explain, of that dump
    std::optional<std::int32_t> storedMeanMs;  ///< the package's final endpoint
};

// Each ends with a newline.
std::string renderText(const ExplanationReport& report);
std::string renderJson(const ExplanationReport& report);

/// "settled at 720 ms", "undecided".
std::string outcomeText(const DumpedLaunch& launch);

}  // namespace host
