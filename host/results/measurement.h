// What measuring a command's launches came to, as a results file keeps it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/library/launch_kind.h"
#include "host/library/series_recorder.h"
#include "host/state/assessment.h"

namespace host {

/// By which of its two times a launch is compared.
enum class TimeBy { kEndpoint, kOpinion };

/// A launch that was measured.
struct MeasuredLaunch {
    std::int32_t run = 0;  ///< from 1; those of two commands that alternated share theirs
    std::int64_t launchedAtUnixMs = 0;
    std::string outcome;                     ///< as the history has it; "stored" of a decided one
    std::optional<std::int32_t> endpointMs;  ///< the library's, of a decided launch
    std::optional<std::int32_t> huntTimeMs;  ///< of the library, until the first sample
    Assessment assessment;                   ///< with the time since the program's start
    PerMetric<Series> series;                ///< what the library sampled
    std::vector<std::int32_t> sampledAtMs;   ///< each memory sample, since the program's start
    std::vector<SeriesLengths> evaluations;  ///< what each evaluation saw
    std::optional<std::int32_t> finalIndex;  ///< the sample that was decided on
    bool isAborted = false;                  ///< while it was sampled
    Series lookAfterKb;                      ///< memory behind the window, one value a period

    /// What is compared: the time from the program's start to the endpoint; none
    /// of a launch without an endpoint.
    std::optional<std::int32_t> settledMs() const { return assessment.sinceStartMs; }

    /// The same to where the second opinion has it settle, decided or not.
    std::optional<std::int32_t> opinionMs() const;

    std::optional<std::int32_t> timeMs(TimeBy by) const {
        return by == TimeBy::kEndpoint ? settledMs() : opinionMs();
    }
    bool isDoubted() const { return assessment.isDoubted(); }
};

/// The machine that it was measured on, and what ran there.
struct Machine {
    std::string host;          ///< its name
    std::string architecture;  ///< "x86_64"
    std::string processor;     ///< the model's name; may be empty
    std::int32_t processors = 0;
    std::int64_t memoryKb = 0;
    std::string kernel;   ///< "Linux 6.1.0-13-amd64"
    std::string library;  ///< its version, and which build: "1.0.0 (0123abc), default"
};

/// The launches of one command, in the order in which they were made.
struct Measurement {
    std::string name;                  ///< that was given
    std::vector<std::string> command;  ///< with its arguments
    std::int64_t measuredAtUnixMs = 0;
    LaunchKind kind;  ///< of all launches
    Machine machine;
    std::vector<MeasuredLaunch> launches;  ///< warm-up runs are not among them
};

}  // namespace host
