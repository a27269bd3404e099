// A launch that was made, as results keep it.
#pragma once

#include <string>

#include "host/learn/made_launch.h"
#include "host/results/measurement.h"

namespace host {

MeasuredLaunch measuredLaunch(int run, const MadeLaunch& launch);

/// "1043 ms after the start; doubted: late; second opinion 893 ms, within 31 ms",
/// all since the start; "undecided".
std::string resultText(const MeasuredLaunch& launch);

}  // namespace host
