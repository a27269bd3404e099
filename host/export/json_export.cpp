// Recorded launches, all that is known of each, as one JSON object.
#include <cmath>

#include "host/base/json_text.h"
#include "host/dump/dump_verdict.h"
#include "host/export/launch_export.h"
#include "host/export/moments.h"

namespace host {
namespace {

constexpr int kSchemaVersion = 1;

// An object's text without its end, so that more can follow.
std::string opened(const Json& object) {
    std::string text = jsonLine(object);
    text.resize(text.rfind('}'));
    return text;
}

std::optional<std::int64_t> firstSampleMsOf(std::optional<std::int32_t> index) {
    return index ? std::optional<std::int64_t>(timeMs(*index)) : std::nullopt;
}

Json evaluationsOf(const DumpedLaunch& launch) {
    Json list = Json::array();
    for (const Evaluation& evaluation : launch.evaluations) {
        Json metrics = Json::object();
        for (const Metric metric : kMetrics) {
            const MetricResult& result = evaluation.metrics[metric];
            metrics[traitsOf(metric).jsonName] = {{"samples", result.samples},
                                                  {"settled_value", result.settledValue},
                                                  {"endpoint_index", result.endpointIndex}};
        }
        list.push_back({{"samples", evaluation.samples()},
                        {"endpoint_index", orNull(evaluation.finalIndex)},
                        {"metrics", metrics}});
    }
    return list;
}

// When each memory sample was taken, those behind the window included.
Json timesOf(const DumpedLaunch& launch) {
    const Moments moments(launch);
    if (!moments.isSinceStart()) return nullptr;
    Json times = Json::array();
    const std::size_t samples =
        launch.series[Metric::kVmRss].size() + lookAfterOf(launch, Metric::kVmRss).size();
    for (std::size_t i = 0; i < samples; ++i)
        times.push_back(std::lround(moments.sampleMs(i)));
    return times;
}

// Null stands for what only a note has.
void addNote(Json& json, const std::optional<LaunchNote>& note) {
    const auto add = [&](const char* name, auto value) {
        json[name] = note ? Json(value(*note)) : Json(nullptr);
    };
    add("launched_at_unix_ms", [](const LaunchNote& n) { return n.launchedAtUnixMs; });
    add("launch_type", [](const LaunchNote& n) { return n.kind.type; });
    add("launch_subtype", [](const LaunchNote& n) { return n.kind.subtype; });
    add("window_samples", [](const LaunchNote& n) { return n.windowSamples; });
    add("stored_endpoint_ms", [](const LaunchNote& n) { return orNull(n.endpointMs); });
    add("first_sample_since_start_ms",
        [](const LaunchNote& n) { return orNull(n.firstSampleSinceStartMs); });
    add("last_sample_since_start_ms",
        [](const LaunchNote& n) { return orNull(n.lastSampleSinceStartMs); });
}

Json launchToJson(const DumpedLaunch& launch) {
    Json json{
        {"number", launch.number},
        {"long", launch.isLong()},
        {"outcome", idOf(launch.outcome)},
        {"unevaluated", launch.unevaluated.empty() ? Json(nullptr) : Json(launch.unevaluated)},
        {"endpoint_index", orNull(launch.finalIndex())},
        {"endpoint_ms", orNull(firstSampleMsOf(launch.finalIndex()))}};
    addAssessment(json, assessmentOf(launch, judge(launch)));
    addNote(json, launch.note);
    json["evaluations"] = evaluationsOf(launch);
    for (const Metric metric : kMetrics)
        json["series"][traitsOf(metric).jsonName] = launch.series[metric];
    json["look_after_kb"] = launch.note ? Json(launch.note->lookAfterKb) : Json(nullptr);
    json["memory_since_start_ms"] = timesOf(launch);
    return json;
}

class JsonExport : public LaunchExport {
public:
    std::string start() override {
        return opened({{"schema_version", kSchemaVersion}}) + ",\"recordings\":[";
    }

    std::string startRecording(const Recording& recording) override {
        const std::string first = mRecordings++ > 0 ? "," : "";
        mLaunches = 0;
        return first + opened(originOf(recording)) + ",\"launches\":[";
    }

    std::string add(const DumpedLaunch& launch) override {
        std::string text = jsonLine(launchToJson(launch));
        text.pop_back();
        return (mLaunches++ > 0 ? "," : "") + text;
    }

    std::string endRecording() override { return "]}"; }
    std::string end() override { return "]}\n"; }

private:
    static Json originOf(const Recording& recording) {
        const std::optional<Measurement>& measured = recording.measurement;
        Json json{{"title", recording.title}, {"package", recording.name},
                  {"file", recording.file},   {"measured_at_unix_ms", nullptr},
                  {"command", nullptr},       {"machine", nullptr}};
        if (!measured) return json;
        json["measured_at_unix_ms"] = measured->measuredAtUnixMs;
        json["command"] = measured->command;
        json["machine"] = toJson(measured->machine);
        return json;
    }

    int mRecordings = 0;
    std::int64_t mLaunches = 0;
};

}  // namespace

std::unique_ptr<LaunchExport> exportJson() {
    return std::make_unique<JsonExport>();
}

}  // namespace host
