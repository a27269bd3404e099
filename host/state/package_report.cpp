// The packages that the store knows and their generations, as show prints them.
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

constexpr int kShowSchemaVersion = 1;

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

void addMeasured(Json& json, const PackageHistory& history) {
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
}

// The columns of --csv and the members of --json, in order.
Json toJson(const StoredPackage& package, const PackageHistory& history,
            const Generation& generation) {
    Json json{{"package", package.name},
              {"launch_events", package.launchEvents},
              {"samples_stored", package.launchEndpointsMs.size()},
              {"samples_needed", package.learned ? Json(nullptr) : Json(samplesNeeded(package))},
              {"launch_endpoints_ms", package.launchEndpointsMs},
              {"learned", package.learned},
              {"final_endpoint_ms", orNull(package.finalEndpointMs())},
              {"last_launched_at_unix_ms", orNull(history.lastLaunchedAtUnixMs)}};
    addMeasured(json, history);
    json["generation"] = generation.number;
    json["label"] = orNull(generation.label);
    return json;
}

Json toJson(const GenerationRow& row) {
    Json json{{"package", row.package},
              {"generation", row.generation.number},
              {"label", orNull(row.generation.label)},
              {"launches", row.history.launches},
              {"final_endpoint_ms", orNull(row.history.finalEndpointMs)},
              {"first_launched_at_unix_ms", orNull(row.history.firstLaunchedAtUnixMs)},
              {"last_launched_at_unix_ms", orNull(row.history.lastLaunchedAtUnixMs)}};
    addMeasured(json, row.history);
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

std::string timeText(std::optional<std::int64_t> unixMs) {
    return unixMs ? localTime(*unixMs) : "-";
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

std::string csvHeading(const Json& columns) {
    std::string text = "schema_version";
    for (const auto& [name, value] : columns.items())
        text += ',' + name;
    return text + '\n';
}

std::string csvRow(Json row, bool isForTerminal) {
    for (const char* name : {"package", "label"}) {
        if (isForTerminal && row[name].is_string())
            row[name] = printable(row[name].get<std::string>());
    }
    if (row["doubts"].is_array() && row["doubts"].empty()) row["doubts"] = "none";
    std::string text = std::to_string(kShowSchemaVersion);
    for (const Json& value : row)
        text += ',' + csvField(value);
    return text + '\n';
}

std::string aligned(const TextTable& rows) {
    std::vector<std::size_t> widths(rows.front().size());
    for (const auto& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], row[i].size());
    }
    std::ostringstream out;
    for (const auto& row : rows) {
        for (std::size_t i = 0; i + 1 < row.size(); ++i)
            out << std::left << std::setw(static_cast<int>(widths[i] + 2)) << row[i];
        out << row.back() << '\n';
    }
    return out.str();
}

}  // namespace

TextTable tableOf(const std::vector<StoredPackage>& packages, const HistoryContents& history,
                  const Generations& generations) {
    TextTable cells{{"PACKAGE", "GENERATION", "LAUNCHES", "STORED", "NEEDED", "LEARNED",
                     "FINAL ENDPOINT", "SINCE START", "DOUBTS", "LAST LAUNCHED", "MEASURED"}};
    for (const StoredPackage& package : packages) {
        const Generation newest = generations.newestOf(package.name);
        const PackageHistory& launches = history.of(package.name, newest.number);
        cells.push_back(
            {printable(package.name), generationText(newest), std::to_string(package.launchEvents),
             std::to_string(package.launchEndpointsMs.size()),
             package.learned ? "-" : std::to_string(samplesNeeded(package)),
             package.learned ? "yes" : "no", finalEndpointText(package), sinceStartText(launches),
             doubtsText(launches), timeText(launches.lastLaunchedAtUnixMs), spreadText(launches)});
    }
    return cells;
}

std::string renderText(const std::vector<StoredPackage>& packages, const HistoryContents& history,
                       const Generations& generations) {
    return aligned(tableOf(packages, history, generations));
}

std::string renderJson(const std::vector<StoredPackage>& packages, const HistoryContents& history,
                       const Generations& generations) {
    Json list = Json::array();
    for (const StoredPackage& package : packages) {
        const Generation newest = generations.newestOf(package.name);
        list.push_back(toJson(package, history.of(package.name, newest.number), newest));
    }
    return jsonLine({{"schema_version", kShowSchemaVersion}, {"packages", list}});
}

std::string renderCsv(const std::vector<StoredPackage>& packages, const HistoryContents& history,
                      const Generations& generations, bool isForTerminal) {
    std::string text = csvHeading(toJson({}, {}, {}));
    for (const StoredPackage& package : packages) {
        const Generation newest = generations.newestOf(package.name);
        text +=
            csvRow(toJson(package, history.of(package.name, newest.number), newest), isForTerminal);
    }
    return text;
}

TextTable tableOf(const std::vector<GenerationRow>& rows) {
    TextTable cells{{"PACKAGE", "GENERATION", "LAUNCHES", "FINAL ENDPOINT", "SINCE START", "DOUBTS",
                     "FIRST LAUNCHED", "LAST LAUNCHED", "MEASURED"}};
    for (const GenerationRow& row : rows) {
        const PackageHistory& history = row.history;
        const std::string finalMs =
            history.finalEndpointMs ? std::to_string(*history.finalEndpointMs) + " ms" : "-";
        cells.push_back({printable(row.package), generationText(row.generation),
                         std::to_string(history.launches), finalMs, sinceStartText(history),
                         doubtsText(history), timeText(history.firstLaunchedAtUnixMs),
                         timeText(history.lastLaunchedAtUnixMs), spreadText(history)});
    }
    return cells;
}

std::string renderText(const std::vector<GenerationRow>& rows) {
    return aligned(tableOf(rows));
}

std::string renderJson(const std::vector<GenerationRow>& rows) {
    Json list = Json::array();
    for (const GenerationRow& row : rows)
        list.push_back(toJson(row));
    return jsonLine({{"schema_version", kShowSchemaVersion}, {"generations", list}});
}

std::string renderCsv(const std::vector<GenerationRow>& rows, bool isForTerminal) {
    std::string text = csvHeading(toJson(GenerationRow()));
    for (const GenerationRow& row : rows)
        text += csvRow(toJson(row), isForTerminal);
    return text;
}

}  // namespace host
