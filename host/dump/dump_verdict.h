// The verdict on a recorded launch.
#pragma once

#include <optional>
#include <string>

#include "host/dump/launch.h"
#include "host/library/judged_launch.h"

namespace host {

/// None for a launch that was stopped or is not all there: what was seen of it is
/// no launch. A dump does not tell the window, which is guessed from the number
/// of samples.
std::optional<JudgedLaunch> judge(const DumpedLaunch& launch);

/// The members of JSON, null where nothing was judged. Times count from the first
/// sample.
Assessment assessmentOf(const std::optional<JudgedLaunch>& launch);

/// "settled at 720 ms", "undecided", without its doubts.
std::string outcomeText(const DumpedLaunch& launch);

/// "settled at 840 ms: doubted, still growing".
std::string verdictText(const DumpedLaunch& launch);

}  // namespace host
