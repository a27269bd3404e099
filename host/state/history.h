// The history of launches: one line of JSON each, in a file of the state folder.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/base/line_reader.h"
#include "host/state/assessment.h"

namespace host {

/// One line of the history, and of what watch prints with --json:
///   schema_version 1, launched_at_unix_ms, source ("learn", "watch"), package,
///   launch_type, launch_subtype, outcome, endpoint_ms, final_endpoint_ms,
///   since_start_ms, doubts, second_opinion_ms, second_opinion_error_ms,
///   generation, label
/// null stands for what was not measured; lines of older versions, which lack the
/// last six, are read as if these were null. A line with the outcome "erased"
/// begins a generation of its package; one without a number belongs to the newest
/// that the lines before it name.
struct LaunchEntry {
    std::int64_t launchedAtUnixMs = 0;
    std::string source;
    std::string package;
    std::int32_t type = 0;
    std::int32_t subtype = 0;
    std::string outcome;
    std::optional<std::int32_t> endpointMs;       ///< of a stored launch
    std::optional<std::int32_t> finalEndpointMs;  ///< of the package, after the launch
    Assessment assessment{};                      ///< of the launch
    std::optional<std::int32_t> generation{};     ///< host/state/generations.h
    std::optional<std::string> label{};           ///< of the generation
};

/// No generation's number is read as higher than this, which leaves room to count on.
constexpr std::int32_t kHighestGeneration = 1'000'000'000;

/// The outcome of the line that stands for an erasure.
constexpr const char* kErasedOutcome = "erased";

/// A name as an entry holds it: bytes that are not UTF-8 are replaced.
std::string asUtf8(const std::string& name);

/// With the newline at its end. Bytes of a name that are not UTF-8 are replaced.
std::string toJsonLine(const LaunchEntry& entry);

/// Nothing for a line that is cut off or is not an entry, which includes a number that
/// an entry cannot hold and a negative endpoint.
std::optional<LaunchEntry> parseHistoryLine(std::string_view line);

/// What the history has on one generation of a package.
struct PackageHistory {
    std::optional<std::string> label;
    std::size_t launches = 0;
    std::optional<std::int64_t> firstLaunchedAtUnixMs;
    std::optional<std::int64_t> lastLaunchedAtUnixMs;
    std::optional<std::int32_t> finalEndpointMs;  ///< as it was last
    std::vector<double> endpointsMs;              ///< of the stored launches, oldest first
    std::vector<double> sinceStartMs;             ///< theirs, where measured
    std::int32_t type = 0;                        ///< of the last stored launch
    std::int32_t subtype = 0;                     ///< and its subtype
    std::deque<Assessment> latest;  ///< of as many stored launches as make a final endpoint
};

struct HistoryContents {
    /// The history of a package's generation, empty when there is none.
    const PackageHistory& of(const std::string& package, std::int32_t generation) const;

    /// By names as an entry holds them (asUtf8), then by generations.
    std::map<std::string, std::map<std::int32_t, PackageHistory>> byPackage;
    std::size_t entries = 0;
    std::size_t unreadableLines = 0;
};

/// Takes the lines of a file into account, the older file first.
void addHistory(HistoryContents& contents, ReadBytes read);

/// The file, and FILE.1 before it. Several processes may append to it at once.
class History {
public:
    explicit History(std::string path) : mPath(std::move(path)) {}

    /// Adds an entry that survives a kill or a power cut once this returns. Says so
    /// on standard error when that fails: what is learned is in the store, so a
    /// history that cannot be written is not a failure.
    void note(const LaunchEntry& entry) const;

    /// Both files; what does not exist is empty. Throws HostError for what cannot
    /// be read.
    HistoryContents read() const;

private:
    const std::string mPath;
};

/// Now, in ms since 1970.
std::int64_t unixMs();

}  // namespace host
