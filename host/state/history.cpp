// The history of launches: one line of JSON each, in a file of the state folder.
#include "host/state/history.h"

#include <chrono>
#include <cstdio>
#include <limits>
#include <stdexcept>

#include "host/base/exit_code.h"
#include "host/base/json_text.h"
#include "host/base/printable.h"
#include "host/base/regular_file.h"
#include "host/base/rotating_file.h"
#include "host/state/store_reader.h"

namespace host {
namespace {

constexpr int kSchemaVersion = 1;
constexpr std::size_t kLongestLine = std::size_t{1} << 16U;  // a name's 255 bytes make 2 KiB

// The parser would cut other numbers to size.
template <typename T>
T integerOf(const Json& value) {
    using Limits = std::numeric_limits<T>;
    const bool isHuge = value.is_number_unsigned() &&
                        value.get<std::uint64_t>() > static_cast<std::uint64_t>(Limits::max());
    const bool fits = value.is_number_integer() && !isHuge &&
                      value.get<std::int64_t>() >= Limits::min() &&
                      value.get<std::int64_t>() <= Limits::max();
    if (!fits) throw std::out_of_range("no integer of this size");
    return value.get<T>();
}

std::optional<std::int32_t> integerAt(const Json& object, const char* name) {
    const auto found = object.find(name);
    if (found == object.end() || found->is_null()) return std::nullopt;
    return integerOf<std::int32_t>(*found);
}

std::optional<std::vector<std::string>> wordsAt(const Json& object, const char* name) {
    const auto found = object.find(name);
    if (found == object.end() || found->is_null()) return std::nullopt;
    return found->get<std::vector<std::string>>();
}

// A name as an entry holds it.
std::string asUtf8(const std::string& name) {
    return Json::parse(jsonLine(name)).get<std::string>();
}

void addEntry(HistoryContents& contents, const LaunchEntry& entry) {
    ++contents.entries;
    if (entry.outcome == kErasedOutcome) {
        contents.byPackage.erase(entry.package);
        return;
    }
    PackageHistory& package = contents.byPackage[entry.package];
    package.lastLaunchedAtUnixMs = entry.launchedAtUnixMs;
    if (!entry.endpointMs) return;
    package.endpointsMs.push_back(*entry.endpointMs);
    const Assessment& assessment = entry.assessment;
    if (assessment.sinceStartMs) package.sinceStartMs.push_back(*assessment.sinceStartMs);
    package.latest.push_back(assessment);
    if (package.latest.size() > static_cast<std::size_t>(kLaunchesToLearn))
        package.latest.pop_front();
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

std::string toJsonLine(const LaunchEntry& entry) {
    Json json{{"schema_version", kSchemaVersion},
              {"launched_at_unix_ms", entry.launchedAtUnixMs},
              {"source", entry.source},
              {"package", entry.package},
              {"launch_type", entry.type},
              {"launch_subtype", entry.subtype},
              {"outcome", entry.outcome},
              {"endpoint_ms", orNull(entry.endpointMs)},
              {"final_endpoint_ms", orNull(entry.finalEndpointMs)}};
    addAssessment(json, entry.assessment);
    return jsonLine(json);
}

std::optional<LaunchEntry> parseHistoryLine(std::string_view line) {
    try {
        const Json object = Json::parse(line);
        LaunchEntry entry;
        entry.launchedAtUnixMs = integerOf<std::int64_t>(object.at("launched_at_unix_ms"));
        entry.source = object.at("source").get<std::string>();
        entry.package = object.at("package").get<std::string>();
        entry.type = integerOf<std::int32_t>(object.at("launch_type"));
        entry.subtype = integerOf<std::int32_t>(object.at("launch_subtype"));
        entry.outcome = object.at("outcome").get<std::string>();
        entry.endpointMs = integerAt(object, "endpoint_ms");
        entry.finalEndpointMs = integerAt(object, "final_endpoint_ms");
        entry.assessment = {integerAt(object, "since_start_ms"), wordsAt(object, "doubts"),
                            integerAt(object, "second_opinion_ms"),
                            integerAt(object, "second_opinion_error_ms")};
        return entry;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

const PackageHistory& HistoryContents::of(const std::string& package) const {
    static const PackageHistory kNone;
    const auto found = byPackage.find(asUtf8(package));
    return found == byPackage.end() ? kNone : found->second;
}

void addHistory(HistoryContents& contents, ReadBytes read) {
    for (LineReader lines(std::move(read), kLongestLine); !lines.atEnd(); lines.skip())
        addLine(contents, lines.peek());
}

void History::note(const LaunchEntry& entry) const {
    try {
        RotatingFile(mPath).appendForGood(toJsonLine(entry));
    } catch (const HostError& error) {
        std::fprintf(stderr, "orvo-host: the history misses a launch: %s\n",
                     printable(error.what()).c_str());
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
