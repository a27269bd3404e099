// The history of launches: one line of JSON each, in a file of the state folder.
#include "host/state/history.h"

#include <chrono>
#include <stdexcept>

#include "host/base/exit_code.h"
#include "host/base/json_text.h"
#include "host/base/regular_file.h"
#include "host/base/rotating_file.h"
#include "host/base/standard_streams.h"
#include "host/state/store_reader.h"

namespace host {
namespace {

constexpr int kHistorySchemaVersion = 1;
constexpr std::size_t kLongestLine = std::size_t{1} << 16U;  // a name's 255 bytes make 2 KiB

std::optional<std::int32_t> timeAt(const Json& object, const char* name) {
    const std::optional<std::int32_t> ms = integerAt(object, name);
    if (ms && *ms < 0) throw std::out_of_range("a time before the launch");
    return ms;
}

std::optional<std::int32_t> generationIn(const Json& object) {
    const std::optional<std::int32_t> number = integerAt(object, "generation");
    if (number && (*number < 1 || *number > kHighestGeneration))
        throw std::out_of_range("no generation");
    return number;
}

std::optional<std::string> textAt(const Json& object, const char* name) {
    const auto found = object.find(name);
    if (found == object.end() || found->is_null()) return std::nullopt;
    return found->get<std::string>();
}

// An erasure begins the generation that it names, or else the next.
std::int32_t generationOf(const LaunchEntry& entry,
                          const std::map<std::int32_t, PackageHistory>& before) {
    if (entry.generation) return *entry.generation;
    const std::int32_t newest = before.empty() ? 1 : before.rbegin()->first;
    return entry.outcome == kErasedOutcome ? newest + 1 : newest;
}

void addLaunch(PackageHistory& history, const LaunchEntry& entry) {
    ++history.launches;
    if (!history.firstLaunchedAtUnixMs) history.firstLaunchedAtUnixMs = entry.launchedAtUnixMs;
    history.lastLaunchedAtUnixMs = entry.launchedAtUnixMs;
    if (entry.finalEndpointMs) history.finalEndpointMs = entry.finalEndpointMs;
    if (!entry.endpointMs) return;
    history.endpointsMs.push_back(*entry.endpointMs);
    history.type = entry.type;
    history.subtype = entry.subtype;
    const Assessment& assessment = entry.assessment;
    if (assessment.sinceStartMs) history.sinceStartMs.push_back(*assessment.sinceStartMs);
    history.latest.push_back(assessment);
    if (history.latest.size() > static_cast<std::size_t>(kLaunchesToLearn))
        history.latest.pop_front();
}

void addEntry(HistoryContents& contents, const LaunchEntry& entry) {
    ++contents.entries;
    auto& generations = contents.byPackage[entry.package];
    PackageHistory& history = generations[generationOf(entry, generations)];
    if (entry.label) history.label = entry.label;
    if (entry.outcome != kErasedOutcome) addLaunch(history, entry);
}

void addLine(HistoryContents& contents, const TextLine& line) {
    if (line.text.empty()) return;
    const std::optional<LaunchEntry> entry =
        line.isTooLong ? std::nullopt : parseHistoryLine(line.text);
    if (entry) {
        addEntry(contents, *entry);
    } else {
        ++contents.unreadableLines;
    }
}

void addFile(HistoryContents& contents, const std::string& path) {
    const UniqueFd file = openKeptFile(path, O_RDONLY);
    if (!file.isOpen()) return;
    addHistory(contents, bytesOf(file.get(), path));
}

}  // namespace

std::string asUtf8(const std::string& name) {
    return parseJson(jsonLine(name)).get<std::string>();
}

std::string toJsonLine(const LaunchEntry& entry) {
    Json json{{"schema_version", kHistorySchemaVersion},
              {"launched_at_unix_ms", entry.launchedAtUnixMs},
              {"source", entry.source},
              {"package", entry.package},
              {"launch_type", entry.type},
              {"launch_subtype", entry.subtype},
              {"outcome", entry.outcome},
              {"endpoint_ms", orNull(entry.endpointMs)},
              {"final_endpoint_ms", orNull(entry.finalEndpointMs)}};
    addAssessment(json, entry.assessment);
    json["generation"] = orNull(entry.generation);
    json["label"] = orNull(entry.label);
    return jsonLine(json);
}

std::optional<LaunchEntry> parseHistoryLine(std::string_view line) {
    try {
        const Json object = parseJson(line);
        LaunchEntry entry;
        entry.launchedAtUnixMs = integerOf<std::int64_t>(object.at("launched_at_unix_ms"));
        entry.source = object.at("source").get<std::string>();
        entry.package = object.at("package").get<std::string>();
        entry.type = integerOf<std::int32_t>(object.at("launch_type"));
        entry.subtype = integerOf<std::int32_t>(object.at("launch_subtype"));
        entry.outcome = object.at("outcome").get<std::string>();
        entry.endpointMs = timeAt(object, "endpoint_ms");
        entry.finalEndpointMs = timeAt(object, "final_endpoint_ms");
        entry.assessment = assessmentIn(object);
        entry.generation = generationIn(object);
        entry.label = textAt(object, "label");
        return entry;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

const PackageHistory& HistoryContents::of(const std::string& package,
                                          std::int32_t generation) const {
    static const PackageHistory kNone;
    const auto found = byPackage.find(asUtf8(package));
    if (found == byPackage.end()) return kNone;
    const auto history = found->second.find(generation);
    return history == found->second.end() ? kNone : history->second;
}

void addHistory(HistoryContents& contents, ReadBytes read) {
    for (LineReader lines(std::move(read), kLongestLine); !lines.atEnd(); lines.skip())
        addLine(contents, lines.peek());
}

void History::note(const LaunchEntry& entry) const {
    try {
        RotatingFile(mPath).appendForGood(toJsonLine(entry));
    } catch (const HostError& error) {
        sayLine(std::string("the history misses a launch: ") + error.what());
    }
}

HistoryContents History::read() const {
    HistoryContents contents;
    addFile(contents, mPath + ".1");
    addFile(contents, mPath);
    return contents;
}

std::int64_t unixMs() {
    using std::chrono::milliseconds;
    using std::chrono::system_clock;
    return std::chrono::duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

}  // namespace host
