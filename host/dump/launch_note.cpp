// What the host notes of a launch beside its dump: a line of JSON.
#include "host/dump/launch_note.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>

#include "host/base/json_text.h"
#include "host/library/series_recorder.h"

namespace host {
namespace {

constexpr int kNoteSchemaVersion = 1;
constexpr int kHexadecimal = 16;

std::string textOf(std::uint64_t fingerprint) {
    char text[17];
    std::snprintf(text, sizeof(text), "%016llx", static_cast<unsigned long long>(fingerprint));
    return text;
}

std::uint64_t fingerprintIn(const std::string& text) {
    std::uint64_t fingerprint = 0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, fingerprint, kHexadecimal);
    if (result.ec != std::errc() || result.ptr != end) throw std::out_of_range("no fingerprint");
    return fingerprint;
}

Series seriesIn(const Json& list) {
    Series series;
    for (const Json& value : list)
        series.push_back(integerOf<std::int32_t>(value));
    return series;
}

std::int32_t between(double fromMs, double toMs) {
    return static_cast<std::int32_t>(std::lround(toMs - fromMs));
}

}  // namespace

std::uint64_t fingerprintOf(const Series& memoryKb, std::size_t samples) {
    constexpr std::uint64_t kOffset = 0xcbf29ce484222325;
    constexpr std::uint64_t kPrime = 0x100000001b3;
    std::uint64_t hash = kOffset;
    for (std::size_t i = 0; i < std::min(samples, memoryKb.size()); ++i) {
        const auto value = static_cast<std::uint32_t>(memoryKb[i]);
        for (unsigned shift = 0; shift < 32; shift += 8)
            hash = (hash ^ (value >> shift & 0xffU)) * kPrime;
    }
    return hash;
}

LaunchNote noteOf(const RecordedLaunch& recorded, LaunchNote told, double startedAtMs,
                  const Series& seenKb) {
    told.windowSamples = recorded.sampleBudget;
    told.samples = recorded.evaluations.back()[Metric::kVmRss];
    told.fingerprint = fingerprintOf(recorded.series[Metric::kVmRss], told.samples);
    const std::size_t timed = std::min(told.samples, recorded.sampledAtMs.size());
    if (timed > 0) {
        told.firstSampleSinceStartMs = between(startedAtMs, recorded.sampledAtMs.front());
        told.lastSampleSinceStartMs = between(startedAtMs, recorded.sampledAtMs[timed - 1]);
    }
    if (!recorded.isAborted && seenKb.size() > told.samples) {
        const auto behind = seenKb.begin() + static_cast<std::ptrdiff_t>(told.samples);
        told.lookAfterKb.assign(behind, seenKb.end());
    }
    return told;
}

std::string toJsonLine(const LaunchNote& note) {
    Json json{{"schema_version", kNoteSchemaVersion},
              {"launched_at_unix_ms", note.launchedAtUnixMs},
              {"launch_type", note.kind.type},
              {"launch_subtype", note.kind.subtype},
              {"window_samples", note.windowSamples},
              {"samples", note.samples},
              {"memory_fnv1a", textOf(note.fingerprint)},
              {"first_sample_since_start_ms", orNull(note.firstSampleSinceStartMs)},
              {"last_sample_since_start_ms", orNull(note.lastSampleSinceStartMs)},
              {"look_after_kb", note.lookAfterKb},
              {"endpoint_ms", orNull(note.endpointMs)}};
    addAssessment(json, note.assessment);
    return jsonLine(json);
}

std::optional<LaunchNote> parseNoteLine(std::string_view line) {
    try {
        const Json object = parseJson(line);
        LaunchNote note;
        note.launchedAtUnixMs = integerOf<std::int64_t>(object.at("launched_at_unix_ms"));
        note.kind.type = integerOf<std::int32_t>(object.at("launch_type"));
        note.kind.subtype = integerOf<std::int32_t>(object.at("launch_subtype"));
        note.windowSamples = integerOf<std::uint32_t>(object.at("window_samples"));
        note.samples = integerOf<std::uint32_t>(object.at("samples"));
        note.fingerprint = fingerprintIn(object.at("memory_fnv1a").get<std::string>());
        note.firstSampleSinceStartMs = integerAt(object, "first_sample_since_start_ms");
        note.lastSampleSinceStartMs = integerAt(object, "last_sample_since_start_ms");
        note.lookAfterKb = seriesIn(object.at("look_after_kb"));
        note.endpointMs = integerAt(object, "endpoint_ms");
        note.assessment = assessmentIn(object);
        return note;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

}  // namespace host
