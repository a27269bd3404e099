// What learn prints of its launches.
#include "host/learn/learn_report.h"

#include <algorithm>
#include <sstream>

#include "host/base/exit_code.h"
#include "host/base/json_text.h"
#include "host/base/printable.h"
#include "host/state/store_reader.h"

namespace host {
namespace {

constexpr int kSchemaVersion = 1;

std::string launchList(const std::vector<LaunchResult>& launches) {
    std::string text;
    for (const LaunchResult& launch : launches) {
        if (!text.empty()) text += ' ';
        text += launch.endpointMs ? std::to_string(*launch.endpointMs)
                                  : std::string("(") + outcomeText(launch.outcome) + ')';
    }
    return text;
}

bool isStored(const LaunchResult& launch) {
    return launch.outcome == LaunchOutcome::kStored;
}

bool allAskedAreStored(const LearnReport& report) {
    return report.launches.size() == static_cast<std::size_t>(report.launchesAsked) &&
           std::all_of(report.launches.begin(), report.launches.end(), isStored);
}

}  // namespace

std::string renderResult(const LaunchResult& result) {
    const std::string outcome = outcomeText(result.outcome);
    return result.endpointMs ? std::to_string(*result.endpointMs) + " ms " + outcome : outcome;
}

std::string renderText(const LearnReport& report) {
    std::ostringstream out;
    out << printable(report.package) << ": ";
    if (report.finalEndpointMs) {
        out << "final endpoint " << *report.finalEndpointMs << " ms";
    } else {
        out << "not learned, " << report.samplesStored << " of " << kLaunchesToLearn
            << " launches stored";
        if (allAskedAreStored(report) && report.samplesStored < kLaunchesToLearn) {
            out << ", " << kLaunchesToLearn - report.samplesStored << " more make a final endpoint";
        }
    }
    if (report.launches.empty()) {
        out << (report.finalEndpointMs ? " (already learned)" : "");
    } else {
        out << " (launches: " << launchList(report.launches) << ')';
    }
    out << '\n';
    return out.str();
}

std::string renderJson(const LearnReport& report) {
    Json launches = Json::array();
    for (const LaunchResult& launch : report.launches) {
        launches.push_back(
            {{"endpoint_ms", orNull(launch.endpointMs)}, {"outcome", outcomeText(launch.outcome)}});
    }
    return jsonLine({{"schema_version", kSchemaVersion},
                     {"package", report.package},
                     {"followed_name", report.followed},
                     {"launches", launches},
                     {"learned", report.finalEndpointMs.has_value()},
                     {"final_endpoint_ms", orNull(report.finalEndpointMs)}});
}

int exitCodeOf(const LearnReport& report, bool interrupted) {
    const bool storeFailed = std::any_of(
        report.launches.begin(), report.launches.end(),
        [](const LaunchResult& launch) { return launch.outcome == LaunchOutcome::kStoreFailed; });
    if (storeFailed) return kEnvironment;
    if (report.finalEndpointMs || allAskedAreStored(report)) return kDone;
    return interrupted ? kInterrupted : kNotLearned;
}

}  // namespace host
