// The verdict on a recorded launch.
#pragma once

#include <optional>
#include <string>

#include "host/dump/launch.h"
#include "host/library/judged_launch.h"

namespace host {

/// The word in JSON: "settled", "undecided", "aborted", "unfinished" or "cut_off".
const char* idOf(DumpOutcome outcome);

/// What became of a launch without an endpoint, in words: "undecided, with evaluations
/// missing".
std::string unsettledText(const DumpedLaunch& launch);

/// None for a launch that was stopped or is not all there: what was seen of it is
/// no launch. With a note also by what was seen behind the window; without, the
/// window, which is not in a dump, is guessed from the number of samples.
std::optional<JudgedLaunch> judge(const DumpedLaunch& launch);

/// The members of JSON, null where nothing was judged. The second opinion counts from
/// the first sample.
Assessment assessmentOf(const DumpedLaunch& launch, const std::optional<JudgedLaunch>& judged);

/// "settled at 840 ms, 1043 ms after the start: doubted, still growing".
std::string verdictText(const DumpedLaunch& launch);

}  // namespace host
