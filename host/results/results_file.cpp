// The file of results that measure writes, and compare, export and report read.
#include "host/results/results_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

#include "host/base/exit_code.h"
#include "host/base/json_text.h"
#include "host/base/printable.h"
#include "host/base/regular_file.h"
#include "host/base/whole_file.h"
#include "host/statistics/median.h"

namespace host {
namespace {

// A thousand launches of the long window take 30 MB.
constexpr std::size_t kLargestSize = std::size_t{256} << 20U;
constexpr std::size_t kMostMeasurements = 2;
constexpr const char* kKind = "orvo measurements";

// For whoever reads the file without us; it is not read back.
Json summaryOf(const std::vector<MeasuredLaunch>& launches) {
    std::vector<double> settledMs;
    for (const MeasuredLaunch& launch : launches) {
        if (launch.settledMs()) settledMs.push_back(*launch.settledMs());
    }
    const auto isDoubted = [](const MeasuredLaunch& launch) { return launch.isDoubted(); };
    Json summary{{"runs", launches.size()},
                 {"settled", settledMs.size()},
                 {"doubted", std::count_if(launches.begin(), launches.end(), isDoubted)},
                 {"median_ms", nullptr},
                 {"median_interval_ms", nullptr},
                 {"smallest_ms", nullptr},
                 {"largest_ms", nullptr}};
    if (settledMs.empty()) return summary;
    summary["median_ms"] = medianOf(settledMs);
    if (const std::optional<Interval> interval = medianInterval(settledMs))
        summary["median_interval_ms"] = {interval->low, interval->high};
    summary["smallest_ms"] = *std::min_element(settledMs.begin(), settledMs.end());
    summary["largest_ms"] = *std::max_element(settledMs.begin(), settledMs.end());
    return summary;
}

Json jsonOf(const MeasuredLaunch& launch) {
    Json json{{"run", launch.run},
              {"launched_at_unix_ms", launch.launchedAtUnixMs},
              {"outcome", launch.outcome},
              {"endpoint_ms", orNull(launch.endpointMs)}};
    addAssessment(json, launch.assessment);
    json["hunt_time_ms"] = orNull(launch.huntTimeMs);
    json["final_index"] = orNull(launch.finalIndex);
    json["aborted"] = launch.isAborted;
    for (const Metric metric : kMetrics)
        json[traitsOf(metric).jsonName] = launch.series[metric];
    json["sampled_since_start_ms"] = launch.sampledAtMs;
    json["look_after_kb"] = launch.lookAfterKb;
    json["evaluations"] = Json::array();
    for (const SeriesLengths& lengths : launch.evaluations)
        json["evaluations"].push_back(lengths.values);
    return json;
}

Json jsonOf(const Measurement& measurement) {
    Json json{{"name", measurement.name},
              {"command", measurement.command},
              {"measured_at_unix_ms", measurement.measuredAtUnixMs},
              {"launch_type", measurement.kind.type},
              {"launch_subtype", measurement.kind.subtype},
              {"window", windowName(windowOf(measurement.kind))},
              {"machine", toJson(measurement.machine)},
              {"summary", summaryOf(measurement.launches)},
              {"launches", Json::array()}};
    for (const MeasuredLaunch& launch : measurement.launches)
        json["launches"].push_back(jsonOf(launch));
    return json;
}

// Says what was being read when a value turned out to be none.
class Place {
public:
    explicit Place(std::string name) : mName(std::move(name)) {}

    void enter(const std::string& place) { mPlace = place; }

    [[noreturn]] void refuse(const std::string& why) const {
        throw HostError(kUsage, printable(mName) + ": " + mPlace + why);
    }

private:
    const std::string mName;
    std::string mPlace;
};

[[noreturn]] void refuse(const char* member, const std::string& why) {
    throw std::invalid_argument('\'' + std::string(member) + "' " + why);
}

const Json& memberOf(const Json& object, const char* name) {
    const auto found = object.is_object() ? object.find(name) : object.end();
    if (!object.is_object() || found == object.end()) refuse(name, "is missing");
    return *found;
}

template <typename T>
struct Range {
    T smallest;
    T largest;
};
constexpr Range<std::int32_t> kAnyValue{std::numeric_limits<std::int32_t>::min(),
                                        std::numeric_limits<std::int32_t>::max()};
template <typename T>
constexpr Range<T> kFromZero{0, std::numeric_limits<T>::max()};

// No launch takes eleven days, and two such times can be added.
constexpr Range<std::int32_t> kTimeMs{0, 1'000'000'000};

template <typename T>
T integerIn(const Json& object, const char* name, const Range<T>& range = kFromZero<T>) {
    const Json& value = memberOf(object, name);
    try {
        const T integer = integerOf<T>(value);
        if (integer >= range.smallest && integer <= range.largest) return integer;
    } catch (const std::exception&) {
    }
    refuse(name, "is not a number that fits there");
}

std::optional<std::int32_t> orNone(const Json& object, const char* name,
                                   const Range<std::int32_t>& range = kTimeMs) {
    if (memberOf(object, name).is_null()) return std::nullopt;
    return integerIn(object, name, range);
}

std::string textIn(const Json& object, const char* name) {
    const Json& value = memberOf(object, name);
    if (!value.is_string()) refuse(name, "is not a string");
    return value.get<std::string>();
}

const Json& listIn(const Json& object, const char* name) {
    const Json& value = memberOf(object, name);
    if (!value.is_array()) refuse(name, "is not a list");
    return value;
}

template <typename T>
std::vector<T> integersOf(const Json& list, const char* name, const Range<T>& range) {
    std::vector<T> values;
    try {
        for (const Json& value : list) {
            values.push_back(integerOf<T>(value));
            if (values.back() < range.smallest || values.back() > range.largest)
                throw std::out_of_range("no such value");
        }
    } catch (const std::exception&) {
        refuse(name, "holds a value that is not a number that fits there");
    }
    return values;
}

std::vector<std::int32_t> integersIn(const Json& object, const char* name, std::size_t most,
                                     const Range<std::int32_t>& range = kAnyValue) {
    const Json& list = listIn(object, name);
    if (list.size() > most) refuse(name, "has more values than it may have");
    return integersOf(list, name, range);
}

std::vector<std::string> textsIn(const Json& object, const char* name) {
    std::vector<std::string> texts;
    for (const Json& text : listIn(object, name)) {
        if (!text.is_string()) refuse(name, "holds a value that is not a string");
        texts.push_back(text.get<std::string>());
    }
    return texts;
}

Machine machineIn(const Json& json) {
    return {textIn(json, "host"),
            textIn(json, "architecture"),
            textIn(json, "processor"),
            integerIn<std::int32_t>(json, "processors"),
            integerIn<std::int64_t>(json, "memory_kb"),
            textIn(json, "kernel"),
            textIn(json, "library")};
}

Assessment assessmentOf(const Json& json) {
    Assessment assessment{orNone(json, "since_start_ms"), std::nullopt,
                          orNone(json, "second_opinion_ms"),
                          orNone(json, "second_opinion_error_ms")};
    if (!memberOf(json, "doubts").is_null()) assessment.doubts = textsIn(json, "doubts");
    return assessment;
}

SeriesLengths lengthsIn(const Json& list) {
    if (!list.is_array() || list.size() != kMetricCount)
        refuse("evaluations", "does not hold three lengths each");
    const auto values = integersOf(list, "evaluations", kFromZero<std::uint32_t>);
    SeriesLengths lengths;
    std::copy(values.begin(), values.end(), lengths.values.begin());
    return lengths;
}

std::vector<SeriesLengths> evaluationsIn(const Json& json, const PerMetric<Series>& series) {
    std::vector<SeriesLengths> evaluations;
    SeriesLengths before{};
    for (const Json& list : listIn(json, "evaluations")) {
        const SeriesLengths lengths = lengthsIn(list);
        for (const Metric metric : kMetrics) {
            if (lengths[metric] > series[metric].size())
                refuse("evaluations", "counts more samples than there are");
            if (lengths[metric] < before[metric])
                refuse("evaluations", "counts fewer samples than before");
        }
        before = lengths;
        evaluations.push_back(lengths);
    }
    return evaluations;
}

MeasuredLaunch launchIn(const Json& json) {
    MeasuredLaunch launch;
    launch.run = integerIn<std::int32_t>(json, "run", {1, kAnyValue.largest});
    launch.launchedAtUnixMs = integerIn<std::int64_t>(json, "launched_at_unix_ms");
    launch.outcome = textIn(json, "outcome");
    launch.endpointMs = orNone(json, "endpoint_ms");
    launch.huntTimeMs = orNone(json, "hunt_time_ms");
    launch.assessment = assessmentOf(json);
    for (const Metric metric : kMetrics) {
        launch.series[metric] = integersIn(json, traitsOf(metric).jsonName, kMostSamples);
    }
    launch.sampledAtMs =
        integersIn(json, "sampled_since_start_ms", launch.series[Metric::kVmRss].size(), kTimeMs);
    launch.lookAfterKb = integersIn(json, "look_after_kb", kLargestSize);
    launch.evaluations = evaluationsIn(json, launch.series);
    launch.finalIndex = orNone(json, "final_index", {0, std::int32_t{kMostSamples} - 1});
    const Json& aborted = memberOf(json, "aborted");
    if (!aborted.is_boolean()) refuse("aborted", "is neither true nor false");
    launch.isAborted = aborted.get<bool>();
    return launch;
}

Measurement measurementIn(const Json& json, Place& place, const std::string& where) {
    Measurement measurement;
    measurement.name = textIn(json, "name");
    measurement.command = textsIn(json, "command");
    measurement.measuredAtUnixMs = integerIn<std::int64_t>(json, "measured_at_unix_ms");
    measurement.kind.type = integerIn<std::int32_t>(json, "launch_type");
    measurement.kind.subtype = integerIn(json, "launch_subtype", kAnyValue);
    const std::string fault = launchKindFault(measurement.kind);
    if (!fault.empty()) throw std::invalid_argument("launch " + fault);
    measurement.machine = machineIn(memberOf(json, "machine"));
    for (const Json& launch : listIn(json, "launches")) {
        place.enter(where + "launch " + std::to_string(measurement.launches.size() + 1) + ": ");
        measurement.launches.push_back(launchIn(launch));
    }
    return measurement;
}

// A cut file is fine as far as it goes; elsewhere a byte is at fault.
Json parsed(std::string_view text, const Place& place) {
    try {
        return parseJson(text);
    } catch (const Json::parse_error& error) {
        if (error.byte > text.size())
            place.refuse("is cut off, or is not a results file of orvo-host measure");
        place.refuse("is no JSON from byte " + std::to_string(error.byte) + " on");
    } catch (const Json::out_of_range&) {
        place.refuse("holds a number that is too large");
    }
}

Json objectIn(std::string_view text, const Place& place) {
    Json json = parsed(text, place);
    const bool isOurs = json.is_object() && json.value("kind", Json()) == kKind;
    if (!isOurs) place.refuse("is not a results file of orvo-host measure");
    const Json version = json.value("schema_version", Json());
    if (version != kResultsSchemaVersion) {
        place.refuse("has " +
                     (version.is_number_integer() ? "the schema version " + version.dump()
                                                  : std::string("no schema version")) +
                     ", and this orvo-host reads " + std::to_string(kResultsSchemaVersion) +
                     "; measure anew, or use the orvo-host that wrote it");
    }
    return json;
}

}  // namespace

Json toJson(const Machine& machine) {
    return {{"host", machine.host},           {"architecture", machine.architecture},
            {"processor", machine.processor}, {"processors", machine.processors},
            {"memory_kb", machine.memoryKb},  {"kernel", machine.kernel},
            {"library", machine.library}};
}

std::string renderResults(const Results& results) {
    Json json{{"schema_version", kResultsSchemaVersion},
              {"kind", kKind},
              {"measurements", Json::array()}};
    for (const Measurement& measurement : results)
        json["measurements"].push_back(jsonOf(measurement));
    return jsonLine(json);
}

Results parseResults(std::string_view text, const std::string& name) {
    Place place(name);
    const Json json = objectIn(text, place);
    Results results;
    try {
        const Json& list = listIn(json, "measurements");
        if (list.empty() || list.size() > kMostMeasurements)
            refuse("measurements", "holds neither one measurement nor two");
        for (const Json& measurement : list) {
            const std::string where = list.size() == 1  ? ""
                                      : results.empty() ? "first, "
                                                        : "second, ";
            place.enter(where);
            results.push_back(measurementIn(measurement, place, where));
        }
    } catch (const std::exception& error) {
        place.refuse(error.what());
    }
    return results;
}

Results readResults(const std::string& file) {
    const UniqueFd opened = openGivenFile(file, kEnvironment);
    std::string text;
    if (!opened.isOpen() || !readWhole(opened.get(), text, kLargestSize))
        throw HostError(kEnvironment,
                        "cannot read " + printable(file) + ": " + std::strerror(errno));
    if (text.size() > kLargestSize)
        throw HostError(kUsage, printable(file) + " is larger than 256 MiB; is it the right file?");
    return parseResults(text, file);
}

}  // namespace host
