// A launch with its verdict, and what is printed and kept of it.
#pragma once

#include <optional>
#include <string>
#include <utility>

#include "host/library/series_recorder.h"
#include "host/state/assessment.h"
#include "host/verdict/verdict.h"

namespace host {

struct JudgedLaunch {
    explicit JudgedLaunch(SeenLaunch launch) : seen(std::move(launch)), verdict(verdictOn(seen)) {}

    SeenLaunch seen;
    Verdict verdict;
};

/// What the library sampled, with what was seen of its memory behind it.
SeenLaunch seenOf(const RecordedLaunch& launch, const Series& lookAfter);

/// From the program's start to the sample at the endpoint; none where nothing was
/// decided.
std::optional<std::int32_t> sinceStartMs(const RecordedLaunch& launch, double startedAtMs);

/// What is kept of a launch whose program started then. Only a stored endpoint has
/// a time since the start.
Assessment assessmentOf(const JudgedLaunch& launch, const RecordedLaunch& recorded,
                        double startedAtMs, bool isStored);

/// All but the time since the start. The second opinion counts from
/// `firstSampleMs` before the first sample, as the launch's endpoint does.
Assessment assessmentOf(const JudgedLaunch& launch, std::int32_t firstSampleMs);

/// "memory was still changing when it was last seen, by +3.5 % a second; learn it
/// anew with --window extended"; empty when settled.
std::string doubtText(const JudgedLaunch& launch);

}  // namespace host
