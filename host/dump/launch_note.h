// What the host notes of a launch beside its dump: a line of JSON.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "host/library/launch_kind.h"
#include "host/library/metric.h"
#include "host/state/assessment.h"

namespace host {

struct RecordedLaunch;

/// One line:
///   schema_version 1, launched_at_unix_ms, launch_type, launch_subtype,
///   window_samples, samples, memory_fnv1a, first_sample_since_start_ms,
///   last_sample_since_start_ms, look_after_kb, endpoint_ms, since_start_ms, doubts,
///   second_opinion_ms, second_opinion_error_ms
/// The last five are the history's. `samples` is how many of memory the dump has,
/// `memory_fnv1a` is of these, and `look_after_kb` has those behind them, one each
/// 30 ms. Null stands for what was not measured.
struct LaunchNote {
    std::int64_t launchedAtUnixMs = 0;
    LaunchKind kind;
    std::size_t windowSamples = 0;  ///< that the library takes at most
    std::size_t samples = 0;
    std::uint64_t fingerprint = 0;
    std::optional<std::int32_t> firstSampleSinceStartMs;
    std::optional<std::int32_t> lastSampleSinceStartMs;
    Series lookAfterKb;
    std::optional<std::int32_t> endpointMs;  ///< as the library has it, of a stored launch
    Assessment assessment{};
};

/// By which a note's launch is found in a dump: FNV-1a of the memory samples, each as
/// four bytes, the lowest first.
std::uint64_t fingerprintOf(const Series& memoryKb, std::size_t samples);

/// Completes `told`, which has what the recorded launch lacks. `seenKb` is all of its
/// memory that was seen, including what follows the dump's; the launch was evaluated,
/// or the dump would have no samples.
LaunchNote noteOf(const RecordedLaunch& recorded, LaunchNote told, double startedAtMs,
                  const Series& seenKb);

/// With the newline at its end.
std::string toJsonLine(const LaunchNote& note);

/// Nothing for a line that is cut off or is not a note.
std::optional<LaunchNote> parseNoteLine(std::string_view line);

}  // namespace host
