// What learn prints of its launches.
#include "host/learn/learn_report.h"

#include <algorithm>
#include <sstream>

#include "host/base/exit_code.h"
#include "host/base/json_text.h"
#include "host/base/printable.h"
#include "host/state/store_reader.h"
#include "host/verdict/verdict_text.h"

namespace host {
namespace {

constexpr int kReportVersion = 1;

std::string launchList(const std::vector<LaunchResult>& launches) {
    std::string text;
    for (const LaunchResult& launch : launches) {
        if (!text.empty()) text += ' ';
        text += launch.endpointMs ? std::to_string(*launch.endpointMs)
                                  : std::string("(") + outcomeText(launch.outcome) + ')';
    }
    return text;
}

// What speaks against the final endpoint, with what helps.
std::string doubtsOf(const LearnReport& report) {
    const Inheritance& inheritance = report.inheritance;
    if (inheritance.doubted == 0) return "";
    const LaunchResult* const launch = doubtedLaunch(report);
    const std::string remedy =
        launch == nullptr ? "" : remedyText(launch->judged->seen, launch->judged->verdict);
    return "; doubted: " + printable(doubtNames(inheritance.assessment)) + " (" +
           std::to_string(inheritance.doubted) + " of " + std::to_string(inheritance.judged) +
           " launches)" + (remedy.empty() ? "" : "; ") + remedy;
}

std::string finalText(const LearnReport& report) {
    const std::string start = startText(report.inheritance.assessment);
    return "final endpoint " + std::to_string(*report.finalEndpointMs) +
           " ms after the first look" + (start.empty() ? "" : " (" + start + ")");
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
    const std::string told = toldText(result.assessment, result.endpointMs);
    return (result.endpointMs ? std::to_string(*result.endpointMs) + " ms " : "") + outcome + told;
}

std::string renderText(const LearnReport& report) {
    std::ostringstream out;
    out << printable(report.package) << ": ";
    if (report.finalEndpointMs) {
        out << finalText(report);
    } else {
        out << "not learned, " << report.samplesStored << " of " << kLaunchesToLearn
            << " launches stored";
        if (allAskedAreStored(report) && report.samplesStored < kLaunchesToLearn) {
            out << ", " << kLaunchesToLearn - report.samplesStored << " more make a final endpoint";
        }
    }
    out << doubtsOf(report);
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
        Json json{{"endpoint_ms", orNull(launch.endpointMs)},
                  {"outcome", outcomeText(launch.outcome)}};
        addAssessment(json, launch.assessment);
        launches.push_back(json);
    }
    Json json{{"schema_version", kReportVersion},
              {"package", report.package},
              {"followed_name", report.followed},
              {"window", report.kind ? Json(windowName(windowOf(*report.kind))) : Json(nullptr)},
              {"probe", report.probe ? jsonOf(*report.probe) : Json(nullptr)},
              {"launches", launches},
              {"learned", report.finalEndpointMs.has_value()},
              {"final_endpoint_ms", orNull(report.finalEndpointMs)}};
    addAssessment(json, report.inheritance.assessment);
    return jsonLine(json);
}

const LaunchResult* doubtedLaunch(const LearnReport& report) {
    const LaunchResult* found = nullptr;
    bool hasOption = false;
    for (const LaunchResult& launch : report.launches) {
        if (!isStored(launch) || !launch.assessment.isDoubted() || !launch.judged) continue;
        const bool helps = remedyOption(launch.judged->seen, launch.judged->verdict).has_value();
        if (helps || !hasOption) found = &launch;
        hasOption = hasOption || helps;
    }
    return found;
}

int exitCodeOf(const LearnReport& report, bool interrupted, bool isStrict) {
    const bool storeFailed = std::any_of(
        report.launches.begin(), report.launches.end(),
        [](const LaunchResult& launch) { return launch.outcome == LaunchOutcome::kStoreFailed; });
    if (storeFailed) return kEnvironment;
    if (report.finalEndpointMs || allAskedAreStored(report)) {
        return isStrict && report.inheritance.doubted > 0 ? kDoubted : kDone;
    }
    return interrupted ? kInterrupted : kNotLearned;
}

}  // namespace host
