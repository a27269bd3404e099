// The packages that the store knows, as show prints them.
#include "host/state/package_report.h"

#include <algorithm>
#include <cmath>
#include <ctime>
#include <iomanip>
#include <sstream>

#include "host/base/json_text.h"
#include "host/base/printable.h"
#include "host/state/spread.h"

namespace host {
namespace {

constexpr int kSchemaVersion = 1;

int samplesNeeded(const StoredPackage& package) {
    return std::max(0, kLaunchesToLearn - static_cast<int>(package.launchEndpointsMs.size()));
}

std::optional<Spread> spreadIn(const PackageHistory& history) {
    if (history.endpointsMs.empty()) return std::nullopt;
    return spreadOf(history.endpointsMs);
}

std::optional<double> sinceStartMedianMs(const PackageHistory& history) {
    if (history.sinceStartMs.empty()) return std::nullopt;
    return spreadOf(history.sinceStartMs).medianMs;
}

// The columns of --csv and the members of --json, in order.
Json toJson(const StoredPackage& package, const PackageHistory& history) {
    Json json{{"package", package.name},
              {"launch_events", package.launchEvents},
              {"samples_stored", package.launchEndpointsMs.size()},
              {"samples_needed", package.learned ? Json(nullptr) : Json(samplesNeeded(package))},
              {"launch_endpoints_ms", package.launchEndpointsMs},
              {"learned", package.learned},
              {"final_endpoint_ms", orNull(package.finalEndpointMs())},
              {"last_launched_at_unix_ms", orNull(history.lastLaunchedAtUnixMs)}};
    const std::optional<Spread> spread = spreadIn(history);
    const auto add = [&](const char* name, auto value) {
        json[name] = spread ? Json(value(*spread)) : Json(nullptr);
    };
    add("launches_measured", [&](const Spread&) { return history.endpointsMs.size(); });
    add("endpoint_min_ms", [](const Spread& s) { return std::llround(s.smallestMs); });
    add("endpoint_median_ms", [](const Spread& s) { return s.medianMs; });
    add("endpoint_max_ms", [](const Spread& s) { return std::llround(s.largestMs); });
    json["since_start_median_ms"] = orNull(sinceStartMedianMs(history));
    addAssessment(json, inheritedFrom(history.latest).assessment);
    return json;
}

std::string csvField(const Json& value) {
    if (value.is_null()) return "";
    std::string text;
    if (value.is_array()) {
        for (const Json& element : value)
            text += (text.empty() ? "" : " ") + csvField(element);
        return text;
    }
    if (!value.is_string()) return value.dump();
    text = value.get<std::string>();
    if (text.find_first_of("\",\r\n") == std::string::npos) return text;
    for (std::size_t at = text.find('"'); at != std::string::npos; at = text.find('"', at + 2))
        text.insert(at, 1, '"');
    return '"' + text + '"';
}

std::string localTime(std::int64_t unixMs) {
    const auto seconds = static_cast<std::time_t>(unixMs / 1000);
    std::tm local{};
    localtime_r(&seconds, &local);
    std::ostringstream out;
    out << std::put_time(&local, "%Y-%m-%d %H:%M");
    return out.str();
}

std::string lastLaunchedText(const PackageHistory& history) {
    return history.lastLaunchedAtUnixMs ? localTime(*history.lastLaunchedAtUnixMs) : "-";
}

std::string sinceStartText(const PackageHistory& history) {
    const std::optional<std::int32_t> ms = inheritedFrom(history.latest).assessment.sinceStartMs;
    return ms ? std::to_string(*ms) + " ms" : "-";
}

// A dash where nothing was judged, as in the histories of older versions.
std::string doubtsText(const PackageHistory& history) {
    const Inheritance inheritance = inheritedFrom(history.latest);
    if (inheritance.judged == 0) return "-";
    return inheritance.doubted == 0 ? "none" : printable(doubtNames(inheritance.assessment));
}

std::string spreadText(const PackageHistory& history) {
    const std::optional<Spread> spread = spreadIn(history);
    if (!spread) return "-";
    std::ostringstream out;
    out << std::fixed << std::setprecision(0) << spread->smallestMs << " to " << spread->largestMs
        << " ms, median " << spread->medianMs << " of " << history.endpointsMs.size();
    if (const auto sinceStart = sinceStartMedianMs(history)) {
        out << " (since start " << *sinceStart << ")";
    }
    return out.str();
}

std::string finalEndpointText(const StoredPackage& package) {
    if (!package.learned) return "-";
    const std::optional<std::int32_t> endpointMs = package.finalEndpointMs();
    return endpointMs ? std::to_string(*endpointMs) + " ms" : "damaged; erase it";
}

}  // namespace

std::string renderText(const std::vector<StoredPackage>& packages, const HistoryContents& history) {
    std::size_t names = std::string("PACKAGE").size();
    std::size_t doubts = std::string("DOUBTS").size();
    for (const StoredPackage& package : packages) {
        names = std::max(names, printable(package.name).size());
        doubts = std::max(doubts, doubtsText(history.of(package.name)).size());
    }
    const auto nameWidth = static_cast<int>(names);
    const auto doubtsWidth = static_cast<int>(doubts);

    std::ostringstream out;
    out << std::left << std::setw(nameWidth) << "PACKAGE"
        << "  LAUNCHES  STORED  NEEDED  LEARNED  FINAL ENDPOINT  SINCE START  "
        << std::setw(doubtsWidth) << "DOUBTS"
        << "  LAST LAUNCHED     MEASURED\n";
    for (const StoredPackage& package : packages) {
        const PackageHistory& launches = history.of(package.name);
        out << std::left << std::setw(nameWidth) << printable(package.name) << std::right
            << std::setw(10) << package.launchEvents << std::setw(8)
            << package.launchEndpointsMs.size() << std::setw(8)
            << (package.learned ? "-" : std::to_string(samplesNeeded(package))) << "  " << std::left
            << std::setw(7) << (package.learned ? "yes" : "no") << "  " << std::setw(14)
            << finalEndpointText(package) << "  " << std::setw(11) << sinceStartText(launches)
            << "  " << std::setw(doubtsWidth) << doubtsText(launches) << "  " << std::setw(16)
            << lastLaunchedText(launches) << "  " << spreadText(launches) << '\n';
    }
    return out.str();
}

std::string renderJson(const std::vector<StoredPackage>& packages, const HistoryContents& history) {
    Json list = Json::array();
    for (const StoredPackage& package : packages)
        list.push_back(toJson(package, history.of(package.name)));
    return jsonLine({{"schema_version", kSchemaVersion}, {"packages", list}});
}

std::string renderCsv(const std::vector<StoredPackage>& packages, const HistoryContents& history,
                      bool isForTerminal) {
    std::ostringstream out;
    out << "schema_version";
    const Json columns = toJson({}, {});
    for (const auto& [name, value] : columns.items())
        out << ',' << name;
    out << '\n';
    for (const StoredPackage& package : packages) {
        Json row = toJson(package, history.of(package.name));
        if (isForTerminal) row["package"] = printable(package.name);
        out << kSchemaVersion;
        if (row["doubts"].is_array() && row["doubts"].empty()) row["doubts"] = "none";
        for (const Json& value : row)
            out << ',' << csvField(value);
        out << '\n';
    }
    return out.str();
}

}  // namespace host
