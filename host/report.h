// What learn and show print on standard output.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/history.h"
#include "host/launch_record.h"
#include "host/store_reader.h"

namespace host {

struct LaunchResult {
    LaunchOutcome outcome = LaunchOutcome::kUndecided;
    std::optional<std::int32_t> endpointMs;  ///< only of a stored launch
};

struct LearnReport {
    std::string package;
    std::vector<LaunchResult> launches;
    std::optional<std::int32_t> finalEndpointMs;  ///< none while not learned
    int samplesStored = 0;                        ///< towards the final endpoint
    std::string otherName;  ///< the name that COMMAND showed instead of PACKAGE, if it did
};

/// "1200 ms stored", "undecided".
std::string renderResult(const LaunchResult& result);

// Each ends with a newline.
std::string renderText(const LearnReport& report);
std::string renderJson(const LearnReport& report);
std::string renderText(const std::vector<StoredPackage>& packages,
                       const HistoryContents& history = {});
std::string renderJson(const std::vector<StoredPackage>& packages,
                       const HistoryContents& history = {});
/// A heading and one row a package; empty where nothing was measured.
std::string renderCsv(const std::vector<StoredPackage>& packages, const HistoryContents& history);

}  // namespace host
