// What the verbs print on standard output, as text and as JSON.
#include "host/report.h"

#include <algorithm>
#include <iomanip>
#include <nlohmann/json.hpp>
#include <sstream>

namespace host {
namespace {

using Json = nlohmann::ordered_json;

constexpr int kSchemaVersion = 1;

template <typename T>
Json orNull(const std::optional<T>& value) {
    return value ? Json(*value) : Json(nullptr);
}

// Package names come from outside and may hold any bytes.
std::string dump(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
}

// A name as text may show it: on one line, without control characters.
std::string printable(const std::string& name) {
    std::string text;
    for (const char c : name) {
        const bool isControl = static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
        text += isControl ? '?' : c;
    }
    return text;
}

int samplesNeeded(const StoredPackage& package) {
    return std::max(0, kLaunchesToLearn - static_cast<int>(package.launchEndpointsMs.size()));
}

std::string launchList(const std::vector<LaunchResult>& launches) {
    std::string text;
    for (const LaunchResult& launch : launches) {
        if (!text.empty()) text += ' ';
        text += launch.endpointMs ? std::to_string(*launch.endpointMs)
                                  : std::string("(") + outcomeText(launch.outcome) + ')';
    }
    return text;
}

Json toJson(const StoredPackage& package) {
    return {{"package", package.name},
            {"launch_events", package.launchEvents},
            {"samples_stored", package.launchEndpointsMs.size()},
            {"samples_needed", package.learned ? Json(nullptr) : Json(samplesNeeded(package))},
            {"launch_endpoints_ms", package.launchEndpointsMs},
            {"learned", package.learned},
            {"final_endpoint_ms", orNull(package.finalEndpointMs())}};
}

std::string finalEndpointText(const StoredPackage& package) {
    if (!package.learned) return "-";
    const std::optional<std::int32_t> endpointMs = package.finalEndpointMs();
    return endpointMs ? std::to_string(*endpointMs) + " ms" : "damaged; erase it";
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
    return dump({{"schema_version", kSchemaVersion},
                 {"package", report.package},
                 {"launches", launches},
                 {"learned", report.finalEndpointMs.has_value()},
                 {"final_endpoint_ms", orNull(report.finalEndpointMs)}});
}

std::string renderText(const std::vector<StoredPackage>& packages) {
    std::size_t width = std::string("PACKAGE").size();
    for (const StoredPackage& package : packages)
        width = std::max(width, package.name.size());
    const auto nameWidth = static_cast<int>(width);

    std::ostringstream out;
    out << std::left << std::setw(nameWidth) << "PACKAGE"
        << "  LAUNCHES  STORED  NEEDED  LEARNED  FINAL ENDPOINT\n";
    for (const StoredPackage& package : packages) {
        out << std::left << std::setw(nameWidth) << printable(package.name) << std::right
            << std::setw(10) << package.launchEvents << std::setw(8)
            << package.launchEndpointsMs.size() << std::setw(8)
            << (package.learned ? "-" : std::to_string(samplesNeeded(package))) << "  " << std::left
            << std::setw(7) << (package.learned ? "yes" : "no") << "  "
            << finalEndpointText(package) << '\n';
    }
    return out.str();
}

std::string renderJson(const std::vector<StoredPackage>& packages) {
    Json list = Json::array();
    for (const StoredPackage& package : packages)
        list.push_back(toJson(package));
    return dump({{"schema_version", kSchemaVersion}, {"packages", list}});
}

}  // namespace host
